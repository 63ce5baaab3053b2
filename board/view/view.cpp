#include "view/view.h"

#include <cerrno>
#include <charconv>
#include <cstring>
#include <functional>
#include <map>

#include <sys/socket.h>

#include <httplib.h>
#include <nlohmann/json.hpp>

#include "view/access.h"
#include "view/page.h"
#include "view/png.h"

namespace orka::board {

namespace {

using namespace std::chrono_literals;

constexpr size_t kept_lines = 1000;
constexpr size_t longest_body = 1024; /* no request has one */
/* Each browser that watches keeps one busy. */
constexpr size_t thread_count = 16;
constexpr auto look_interval = 40ms; /* between two looks at what changed */
constexpr auto longest_poll = 5s;
/* A silent client delays the board's end by as much. */
constexpr time_t client_patience_s = 1;

constexpr int no_content = 204;
constexpr int bad_request = 400;
constexpr int forbidden = 403;
constexpr int server_error = 500;
constexpr int unavailable = 503;

/* The page needs nothing from elsewhere, and nobody else is to show or to read what is served here. */
const httplib::Headers headers{
    {"Cache-Control", "no-store"},
    {"Content-Security-Policy", "default-src 'none'; connect-src 'self'; img-src 'self' blob: data:; "
                                "style-src 'unsafe-inline'; script-src 'unsafe-inline'; "
                                "base-uri 'none'; form-action 'none'; frame-ancestors 'none'"},
    {"Cross-Origin-Resource-Policy", "same-origin"},
    {"Referrer-Policy", "no-referrer"},
    {"X-Content-Type-Options", "nosniff"},
};

/* Without SO_REUSEPORT, with which two boards would share a port. */
void share_no_port(int fd)
{
    const int yes = 1;
    setsockopt(fd, SOL_SOCKET, SO_REUSEADDR, &yes, sizeof yes);
}

std::string in_brackets(const std::string &host)
{
    return host.find(':') == std::string::npos ? host : "[" + host + "]";
}

uint64_t number_of(const std::string &text)
{
    uint64_t number = 0;
    std::from_chars(text.data(), text.data() + text.size(), number);
    return number;
}

/* As it is. What httplib has as a whole it compresses where the browser allows it, as hard as it can, which
   takes seconds: far longer than to send it. */
void answer(httplib::Response &response, const std::string &content, const char *type)
{
    response.set_content_provider(content.size(), type,
                                  [content](size_t offset, size_t length, httplib::DataSink &sink) {
                                      return sink.write(content.data() + offset, length);
                                  });
}

void answer_text(httplib::Response &response, int status, const std::string &text)
{
    response.status = status;
    response.set_content(text + "\n", "text/plain");
}

void answer_exception(const httplib::Request & /*request*/, httplib::Response &response,
                      const std::exception_ptr &thrown)
{
    try {
        std::rethrow_exception(thrown);
    } catch (const ReactorCalls::Closed &closed) {
        answer_text(response, unavailable, closed.what());
    } catch (const std::exception &error) {
        answer_text(response, server_error, error.what());
    }
}

std::optional<Plane> plane_of(const httplib::Request &request)
{
    static const std::map<std::string, Plane> planes{
        {"", Plane::composed}, {"composed", Plane::composed}, {"video", Plane::video}, {"osd", Plane::osd}};
    const auto found = planes.find(request.get_param_value("plane"));
    return found == planes.end() ? std::nullopt : std::optional(found->second);
}

} // namespace

View::View(Board &board, const ViewAddress &address)
    : board_(board), calls_(board.reactor()), http_(std::make_unique<httplib::Server>())
{
    guard(address.host);
    route();
    listen_at(address);
    listener_ = board_.trace().listen([this](const std::string &line) { keep(line); });
    thread_ = std::thread([this] { serve(); });
    /* Before it runs it cannot be stopped. */
    while (!http_->is_running() && !ended_)
        std::this_thread::sleep_for(1ms);
}

View::~View()
{
    calls_.close();
    http_->stop();
    thread_.join();
    board_.trace().ignore(listener_);
}

void View::serve()
{
    http_->listen_after_bind();
    ended_ = true;
}

void View::listen_at(const ViewAddress &address)
{
    int port = address.port;
    errno = 0;
    http_->set_socket_options(share_no_port);
    if (port == 0)
        port = http_->bind_to_any_port(address.host);
    else if (!http_->bind_to_port(address.host, port))
        port = -1;
    const std::string where = in_brackets(address.host) + ":";
    if (port < 0)
        throw std::runtime_error("cannot serve the live view at " + where + std::to_string(address.port) +
                                 ": " + strerror(errno));
    place_ = "http://" + where + std::to_string(port) + "/";
}

void View::guard(const std::string &host)
{
    http_->new_task_queue = [] { return new httplib::ThreadPool(thread_count); };
    /* Browsers keep connections that they do not use, and each would keep a thread. */
    http_->set_keep_alive_max_count(1);
    http_->set_keep_alive_timeout(client_patience_s);
    http_->set_read_timeout(client_patience_s);
    http_->set_write_timeout(client_patience_s);
    http_->set_payload_max_length(longest_body);
    http_->set_default_headers(headers);
    http_->set_exception_handler(answer_exception);
    http_->set_pre_routing_handler([host](const httplib::Request &request, httplib::Response &response) {
        const std::string called = request.get_header_value("Host");
        const bool is_own = is_own_host(called, host);
        if (is_own && is_own_origin(request.get_header_value("Origin"), called))
            return httplib::Server::HandlerResponse::Unhandled;
        answer_text(response, forbidden, is_own ? "not for other pages" : "not by that name");
        return httplib::Server::HandlerResponse::Handled;
    });
}

void View::route()
{
    using httplib::Request;
    using httplib::Response;

    http_->Get("/", [](const Request &, Response &response) {
        answer(response, std::string(page), "text/html; charset=utf-8");
    });
    http_->Get("/status", [this](const Request &, Response &response) {
        answer(response, status(), "application/json");
    });
    http_->Get("/picture.png", [this](const Request &request, Response &response) {
        if (const std::optional<Plane> plane = plane_of(request))
            answer(response, picture(*plane), "image/png");
        else
            answer_text(response, bad_request, "planes are composed, video and osd");
    });
    http_->Get("/changes", [this](const Request &request, Response &response) {
        answer(response, changes_since(request.get_param_value("since")), "text/plain");
    });
    http_->Get("/trace", [this](const Request &request, Response &response) {
        answer(response, trace_since(number_of(request.get_param_value("since"))), "application/json");
    });
    const auto add_action = [this](const char *path, void (View::*action)()) {
        /* A handler that could read a body is not kept waiting for one. */
        http_->Post(path,
                    [this, action](const Request &, Response &response, const httplib::ContentReader &) {
                        calls_.run([this, action] { (this->*action)(); });
                        response.status = no_content;
                    });
    };
    add_action("/pause", &View::pause);
    add_action("/step", &View::step);
    add_action("/resume", &View::resume);
}

std::string View::changes_since(const std::string &number)
{
    const auto until = Clock::now() + longest_poll;
    for (;;) {
        std::string now = std::to_string(calls_.run([this] { return board_.screen().changes(); }));
        if (now != number || Clock::now() > until)
            return now;
        calls_.sleep(look_interval);
    }
}

std::string View::status()
{
    return calls_.run([this] { return board_.status(); });
}

std::string View::picture(Plane plane)
{
    return png_of(calls_.run([this, plane] { return board_.screen().compose(plane); }));
}

/* The trace. */

void View::keep(const std::string &line)
{
    lines_.push_back(line);
    next_line_++;
    if (lines_.size() > kept_lines)
        lines_.pop_front();
}

std::string View::trace_since(uint64_t number)
{
    return calls_.run([this, number] {
        const uint64_t first = next_line_ - lines_.size();
        const uint64_t from = number > next_line_ ? first : std::max(first, number);
        nlohmann::json lines = nlohmann::json::array();
        for (uint64_t line = from; line < next_line_; line++)
            lines.push_back(lines_[line - first]);
        return nlohmann::json{{"next", next_line_}, {"lines", lines}}.dump();
    });
}

/* Actions, on the reactor's thread. */

void View::pause()
{
    board_.presentation().hold(Clock::now());
}

void View::step()
{
    board_.presentation().hold(Clock::now());
    board_.presentation().ask_picture();
}

void View::resume()
{
    board_.presentation().release(Clock::now());
}

std::unique_ptr<View> view_of(Board &board, const std::optional<ViewAddress> &address)
{
    if (!address)
        return nullptr;
    auto view = std::make_unique<View>(board, *address);
    say("live view at " + view->place());
    return view;
}

} // namespace orka::board

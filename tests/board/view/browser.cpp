#include "board/view/browser.h"

#include <charconv>
#include <csignal>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <regex>
#include <stdexcept>

#include <httplib.h>

#include "board/tools/served_board.h"

namespace orka_tools_test {

namespace {

namespace fs = std::filesystem;
using nlohmann::json;

constexpr time_t patience_s = 100; /* less than a test has */

/* It ends with the test, however that ends; and Chromium, which hangs on its pipe, ends with it. */
const Words driver{"setpriv", "--pdeathsig", "KILL", "chromedriver", "--port=0"};

Words options_of(const std::string &folder)
{
    return {
        "--headless=new",
        "--no-sandbox", /* which root cannot have; it shows nothing but the board's own page */
        "--disable-dev-shm-usage",
        "--disable-gpu",
        "--disable-background-networking",
        "--disable-component-update",
        "--no-first-run",
        "--window-size=1280,900",
        "--remote-debugging-pipe",
        /* No name leads anywhere. */
        "--host-resolver-rules=MAP * ~NOTFOUND, EXCLUDE 127.0.0.1",
        "--user-data-dir=" + folder + "/profile",
    };
}

int port_of(const Process &started)
{
    const std::regex line("started successfully on port ([0-9]+)");
    std::smatch found;
    std::string text;
    if (!soon([&] { return std::regex_search(text = started.out(), found, line); }))
        throw std::runtime_error("chromedriver does not start: " + started.out() + started.err());
    return std::stoi(found[1]);
}

/* Processes whose command line has that word in it. */
std::vector<pid_t> processes_with(const std::string &word)
{
    std::vector<pid_t> found;
    for (const auto &entry : fs::directory_iterator("/proc")) {
        const std::string name = entry.path().filename();
        pid_t process = 0;
        if (std::from_chars(name.data(), name.data() + name.size(), process).ec != std::errc())
            continue;
        std::ifstream file(entry.path() / "cmdline");
        const std::string line{std::istreambuf_iterator<char>(file), {}};
        if (line.find(word) != std::string::npos)
            found.push_back(process);
    }
    return found;
}

} // namespace

Browser::Browser(const std::string &folder)
    : folder_(folder), driver_(driver),
      client_(std::make_unique<httplib::Client>("127.0.0.1", port_of(driver_)))
{
    fs::create_directories(downloads());
    client_->set_read_timeout(patience_s);
    begin();
}

void Browser::begin()
{
    const json wanted{{"browserName", "chrome"},
                      {"goog:loggingPrefs", {{"browser", "ALL"}, {"performance", "ALL"}}},
                      {"goog:chromeOptions", {{"args", options_of(folder_)}}}};
    session_ = "/session/" +
               ask("/session", {{"capabilities", {{"alwaysMatch", wanted}}}})["sessionId"].get<std::string>();
    tool("Browser.setDownloadBehavior", {{"behavior", "allow"}, {"downloadPath", downloads()}});
    /* It begins with a page of its own. */
    open("about:blank");
    requested();
}

Browser::~Browser()
{
    leave();
    driver_.signal(SIGTERM);
    driver_.wait();
    const std::string profile = folder_ + "/profile";
    const bool gone = soon([&] { return processes_with(profile).empty(); });
    EXPECT_TRUE(gone) << "Chromium goes on after its session";
    for (const pid_t process : gone ? std::vector<pid_t>() : processes_with(profile))
        kill(process, SIGKILL);
    fs::remove_all(folder_);
}

void Browser::leave()
{
    const httplib::Result answer = client_->Delete(session_);
    EXPECT_TRUE(answer && answer->status == 200);
}

json Browser::ask(const std::string &path, const json &body)
{
    const httplib::Result answer = client_->Post(session_ + path, body.dump(), "application/json");
    if (!answer)
        throw std::runtime_error("chromedriver does not answer " + path + ": " + to_string(answer.error()));
    const json value = json::parse(answer->body)["value"];
    if (answer->status != 200)
        throw std::runtime_error(path + ": " + value["message"].get<std::string>());
    return value;
}

json Browser::tool(const std::string &command, const json &parameters)
{
    return ask("/goog/cdp/execute", {{"cmd", command}, {"params", parameters}});
}

void Browser::open(const std::string &place)
{
    ask("/url", {{"url", place}});
}

void Browser::be_a_phone(unsigned width, unsigned height)
{
    tool("Emulation.setDeviceMetricsOverride",
         {{"width", width}, {"height", height}, {"deviceScaleFactor", 2}, {"mobile", true}});
    tool("Emulation.setTouchEmulationEnabled", {{"enabled", true}});
}

void Browser::prefer_colours(const std::string &scheme)
{
    const json feature{{"name", "prefers-color-scheme"}, {"value", scheme}};
    tool("Emulation.setEmulatedMedia", {{"features", json::array({feature})}});
}

json Browser::run(const std::string &body)
{
    return ask("/execute/sync", {{"script", body}, {"args", json::array()}});
}

void Browser::click(const std::string &selector)
{
    const json found = ask("/element", {{"using", "css selector"}, {"value", selector}});
    ask("/element/" + found.begin()->get<std::string>() + "/click");
}

void Browser::press(const std::string &key)
{
    const json strokes{{{"type", "keyDown"}, {"value", key}}, {{"type", "keyUp"}, {"value", key}}};
    ask("/actions", {{"actions", {{{"type", "key"}, {"id", "keyboard"}, {"actions", strokes}}}}});
}

std::vector<std::string> Browser::requested()
{
    std::vector<std::string> places;
    for (const json &entry : ask("/se/log", {{"type", "performance"}})) {
        const json message = json::parse(entry["message"].get<std::string>())["message"];
        if (message["method"] == "Network.requestWillBeSent")
            places.push_back(message["params"]["request"]["url"]);
    }
    return places;
}

std::vector<std::string> Browser::complaints()
{
    std::vector<std::string> texts;
    for (const json &entry : ask("/se/log", {{"type", "browser"}}))
        texts.push_back(entry["source"].get<std::string>() + ": " + entry["message"].get<std::string>());
    return texts;
}

} // namespace orka_tools_test

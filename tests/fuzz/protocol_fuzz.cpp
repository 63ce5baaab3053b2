/*
 * What programs say to the board's server, sense or not: the input is a list of packets, connections that
 * come and go, and descriptors that are closed. Whatever they do, the board goes on serving the next one.
 */
#include <algorithm>

#include <fcntl.h>
#include <sys/stat.h>

#include "fuzz/board_options.h"
#include "fuzz/fuzz.h"
#include "fuzz/script.h"
#include "stepped_board/stepped_board.h"

using namespace orka_test;
namespace protocol = orka::board::protocol;
namespace wire = orka::wire;

namespace {

constexpr size_t most_clients = 6;
constexpr size_t most_files = 32;
constexpr int most_rests = 4;
constexpr std::chrono::milliseconds rest_time{1};

class Talk {
  public:
    explicit Talk(Script &script) : script_(script), board_(options_by(script.byte())) {}

    void run()
    {
        while (!script_.ended()) {
            step();
            board_.work();
        }
        require_service();
        clients_.clear();
        files_.clear();
    }

  private:
    void step()
    {
        const uint8_t what = script_.byte();
        if (clients_.empty())
            return connect(false);
        const size_t which = what / 16 % clients_.size();
        SteppedClient &client = clients_[which];
        switch (what % 16) {
        case 0:
            return connect((script_.byte() & 1) != 0);
        case 1:
            clients_.erase(clients_.begin() + static_cast<std::ptrdiff_t>(which));
            return;
        case 2:
            return client.send(script_.take(script_.number(2) % (sizeof(protocol::request) + 600)));
        case 3:
            if (!files_.empty())
                files_.erase(files_.begin() + script_.byte() % static_cast<std::ptrdiff_t>(files_.size()));
            return;
        case 4:
            return rest();
        case 5:
        case 6:
        case 7:
            return read(client);
        case 8:
            return client.hello();
        default:
            return ask(client);
        }
    }

    void connect(bool greets)
    {
        if (clients_.size() == most_clients)
            return;
        clients_.push_back(board_.connect());
        if (greets)
            clients_.back().hello();
    }

    void rest()
    {
        if (rests_++ < most_rests)
            board_.rest(rest_time);
    }

    void read(SteppedClient &client)
    {
        while (std::optional<SteppedAnswer> answer = client.receive()) {
            if (answer->passed >= 0 && files_.size() < most_files)
                files_.push_back(std::move(answer->passed));
        }
    }

    uint32_t file_number()
    {
        const uint8_t which = script_.byte();
        if (files_.empty() || which == 0xFF)
            return script_.number(4);
        struct stat status {};
        fstat(files_[which % files_.size()], &status);
        return static_cast<uint32_t>(status.st_ino);
    }

    uint32_t request_number()
    {
        const uint8_t which = script_.byte();
        return which < std::size(wire::requests) ? wire::requests[which].number : script_.number(4);
    }

    /* A packet with the form of a request, mostly. */
    void ask(SteppedClient &client)
    {
        const uint8_t form = script_.byte();
        protocol::request request{.operation = script_.byte() % 10u,
                                  .version = (form & 1) != 0 ? script_.byte() : protocol::version,
                                  .node = script_.byte(),
                                  .flags = script_.byte() % 8u | ((form & 2) != 0 ? O_NONBLOCK : 0u),
                                  .file = file_number(),
                                  .number = request_number(),
                                  .nonblock = form >> 2 & 1u};
        const std::vector<uint8_t> payload = script_.take(script_.byte() * ((form & 8) != 0 ? 3u : 1u));
        request.length = (form & 16) != 0 ? script_.number(4) : static_cast<uint32_t>(payload.size());
        client.send(request, payload);
    }

    void require_service()
    {
        SteppedClient next = board_.connect();
        next.hello();
        board_.work();
        board_.work(); /* the connection was in the first round, the packet may be in the second */
        const std::optional<SteppedAnswer> answer = next.receive();
        require(answer && answer->reply.error == 0 && answer->reply.memory == board_.memory().size(),
                "the board serves nobody any more");
    }

    Script &script_;
    SteppedBoard board_;
    std::vector<SteppedClient> clients_;
    std::vector<OwnedFd> files_;
    int rests_ = 0;
};

} // namespace

int LLVMFuzzerTestOneInput(const uint8_t *data, size_t size)
{
    Script script({data, std::min(size, longest_input)});
    Talk(script).run();
    return 0;
}

/*
 * Every request of the board's drivers, from programs that send what they like: the input is a list of files
 * that are opened and closed, requests on them whose records depart from sensible ones word by word, and
 * bytes that are written into the frames that the board hands out. What the board hands out is its own, and
 * when everybody is gone it holds nothing any more.
 */
#include <algorithm>
#include <cstring>

#include <fcntl.h>
#include <sys/stat.h>

#include "fuzz/board_options.h"
#include "fuzz/default_record.h"
#include "fuzz/fuzz.h"
#include "fuzz/script.h"
#include "orka_media.h"
#include "stepped_board/stepped_board.h"

using namespace orka_test;
namespace board = orka::board;
namespace protocol = board::protocol;
namespace wire = orka::wire;

namespace {

constexpr size_t most_files = 10;
constexpr size_t most_clients = 4;
constexpr int most_calls = 120;
constexpr int most_rests = 12;
constexpr int most_pictures = 2;
constexpr std::chrono::milliseconds rest_time{2};

struct File {
    OwnedFd fd;
    wire::node node;
    uint32_t number;              /* by which requests name it */
    orka_idecode_frame_t frame{}; /* the last one that it was given */
    std::vector<const wire::request_row *> rows;
};

/* A connection, and the request that it waits for. */
struct Caller {
    SteppedClient client;
    uint32_t file = 0;
    const wire::request_row *row = nullptr;
};

constexpr uint32_t words[] = {
    0,         1,         2,          3,          4,          5,          8,          15,
    16,        63,        64,         65,         255,        256,        4095,       4096,
    4097,      0x7FFF,    0xFFFF,     0x10000,    0x20000,    720,        0x80000,    0xC00000,
    0x1FFF000, 0x2000000, 0x7FFFFFFF, 0x80000000, 0x80000001, 0xFFFFFFFE, 0xFFFFFFFF, 0xFFFFF000};

class Programs {
  public:
    explicit Programs(Script &script) : script_(script), board_(options_by(script.byte())) {}

    void run()
    {
        for (int call = 0; call < most_calls && !script_.ended(); call++) {
            step();
            board_.work();
            for (Caller &caller : callers_)
                hear(caller);
        }
        callers_.clear();
        files_.clear();
    }

  private:
    void step()
    {
        const uint8_t what = script_.byte();
        if (files_.empty())
            return open();
        switch (what % 16) {
        case 0:
        case 1:
            return open();
        case 2:
            files_.erase(files_.begin() + script_.byte() % static_cast<std::ptrdiff_t>(files_.size()));
            return;
        case 3:
            return leave();
        case 4:
        case 5:
            return rest();
        case 6:
        case 7:
            return fill(script_.pick(files_));
        case 8:
            return look();
        default:
            return ask(script_.pick(files_));
        }
    }

    /* A caller that nothing is under way for; where there is none, one gives up. */
    Caller &idle()
    {
        for (Caller &caller : callers_) {
            if (!caller.row)
                return caller;
        }
        if (callers_.size() == most_clients)
            callers_.erase(callers_.begin());
        callers_.push_back({board_.connect()});
        callers_.back().client.hello();
        board_.work();
        board_.work();
        require(callers_.back().client.receive().has_value(), "no answer to a greeting");
        return callers_.back();
    }

    void open()
    {
        if (files_.size() == most_files)
            return;
        const uint8_t node = script_.byte();
        Caller &caller = idle();
        caller.client.send({.operation = static_cast<uint32_t>(protocol::operation::open),
                            .node = 1 + node % (wire::node_count - 1),
                            .flags = O_RDWR | ((node & 0x80) != 0 ? O_NONBLOCK : 0u)},
                           {});
        board_.work();
        std::optional<SteppedAnswer> answer = caller.client.receive();
        require(answer && answer->passed >= 0, "a node did not open");
        add(static_cast<wire::node>(1 + node % (wire::node_count - 1)), std::move(answer->passed));
    }

    void add(wire::node node, OwnedFd fd)
    {
        struct stat status {};
        fstat(fd, &status);
        File file{std::move(fd), node, static_cast<uint32_t>(status.st_ino)};
        for (const wire::request_row &row : wire::requests) {
            if (row.node == wire::first_channel(node))
                file.rows.push_back(&row);
        }
        if (!file.rows.empty())
            files_.push_back(std::move(file));
    }

    /* In the midst of a request, if there is one. */
    void leave()
    {
        if (callers_.empty())
            return;
        const uint8_t how = script_.byte();
        const size_t which = how / 2 % callers_.size();
        if ((how & 1) != 0)
            callers_[which].client.cancel();
        else
            callers_.erase(callers_.begin() + static_cast<std::ptrdiff_t>(which));
    }

    void rest()
    {
        if (rests_++ < most_rests)
            board_.rest(rest_time);
    }

    /* Into the frame, as far as it reaches. */
    void fill(const File &file)
    {
        const std::vector<uint8_t> bytes = script_.take(script_.byte());
        const std::span<uint8_t> buffer = board_.memory().at(file.frame.addr, file.frame.capacity);
        if (board_.is_in_queues(file.frame.addr, file.frame.capacity))
            std::ranges::copy(std::span(bytes).first(std::min(bytes.size(), buffer.size())), buffer.begin());
    }

    /* What the tools of people ask. */
    void look()
    {
        if (pictures_++ == most_pictures)
            return;
        const uint8_t what = script_.byte();
        const auto operation =
            (what & 1) != 0 ? protocol::operation::status : protocol::operation::screenshot;
        Caller &caller = idle();
        caller.client.send({.operation = static_cast<uint32_t>(operation), .flags = what / 2 % 4u}, {});
        board_.work();
        require(caller.client.receive().has_value(), "no answer to who looks");
    }

    void ask(File &file)
    {
        const wire::request_row &row = *script_.pick(file.rows);
        std::vector<uint8_t> record = default_record(row, file.frame, script_);
        const uint8_t how = script_.byte();
        for (int patches = how % 4; patches != 0; patches--)
            patch(record);
        if ((how & 0xF0) == 0xF0)
            record.resize(script_.byte() * 2u);
        Caller &caller = idle();
        caller.client.send({.operation = static_cast<uint32_t>(protocol::operation::control),
                            .file = file.number,
                            .number = row.number,
                            .nonblock = how >> 2 & 1u,
                            .length = static_cast<uint32_t>(record.size())},
                           record);
        caller.file = file.number;
        caller.row = &row;
    }

    /* One word of it, or as much of one as there is. */
    void patch(std::vector<uint8_t> &record)
    {
        if (record.empty())
            return;
        const size_t at = script_.byte() % ((record.size() + 3) / 4) * 4;
        const uint8_t what = script_.byte();
        const uint32_t word = what < std::size(words) ? words[what]
                              : what < 0x80           ? script_.byte()
                                                      : script_.number(4);
        memcpy(&record[at], &word, std::min(sizeof word, record.size() - at));
    }

    void hear(Caller &caller)
    {
        const std::optional<SteppedAnswer> answer = caller.client.receive();
        if (!answer)
            return;
        require(caller.row, "an answer to nothing");
        const wire::request_row &row = *std::exchange(caller.row, nullptr);
        if (answer->reply.error != 0)
            return;
        require(answer->out.size() == row.out, "a record of another size");
        check(row, answer->out, caller.file);
    }

    void check(const wire::request_row &row, std::span<const uint8_t> out, uint32_t file)
    {
        if (row.out == sizeof(wire::queue_record) && row.name.ends_with("_QUEUE"))
            return check_queue(out.subspan(offsetof(wire::queue_record, length)));
        if (row.out == sizeof(wire::video_encode_queue_record))
            return check_queue(out.subspan(offsetof(wire::video_encode_queue_record, length)));
        if (row.out == sizeof(wire::frame_request_record))
            return check_frame(out.subspan(offsetof(wire::frame_request_record, frame)), file,
                               word_of(out.subspan(offsetof(wire::frame_request_record, status))));
        if (row.out == sizeof(orka_iencode_frame_t))
            return check_frame(out, file, wire::driver_done);
        if (row.number == wire::ICAPTURE_GET_FRAME) {
            require(board_.is_in_queues(word_of(out), 1), "a captured frame outside the queues");
            give(file, {.addr = word_of(out)});
        }
    }

    static uint32_t word_of(std::span<const uint8_t> bytes)
    {
        uint32_t word = 0;
        memcpy(&word, bytes.data(), sizeof word);
        return word;
    }

    void check_queue(std::span<const uint8_t> length_and_base)
    {
        require(board_.is_in_queues(word_of(length_and_base.subspan(4)), word_of(length_and_base)),
                "a queue outside the queues");
    }

    /* Both sides' frames are laid out alike. */
    void check_frame(std::span<const uint8_t> bytes, uint32_t number, uint32_t status)
    {
        orka_idecode_frame_t frame;
        memcpy(&frame, bytes.data(), sizeof frame);
        if (status != wire::driver_done)
            return;
        require(board_.is_in_queues(frame.addr, std::max(frame.size, frame.capacity)),
                "a frame outside the queues");
        give(number, frame);
    }

    void give(uint32_t number, const orka_idecode_frame_t &frame)
    {
        for (File &file : files_) {
            if (file.number == number)
                file.frame = frame;
        }
    }

    Script &script_;
    SteppedBoard board_;
    std::vector<File> files_;
    std::vector<Caller> callers_;
    int rests_ = 0;
    int pictures_ = 0;
};

} // namespace

int LLVMFuzzerTestOneInput(const uint8_t *data, size_t size)
{
    Script script({data, std::min(size, longest_input)});
    Programs(script).run();
    return 0;
}

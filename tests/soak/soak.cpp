/*
 * Keeps one board busy for as long as it is told: players, recorders, stills, displays that change, people
 * who look; every other program is killed at a random instant. At the end the board holds what it held at the
 * beginning, and the last clip played is what FFmpeg decodes.
 *
 *     orka-soak MINUTES [--seed N]
 */
#include <algorithm>
#include <array>
#include <chrono>
#include <csignal>
#include <cstdio>
#include <cstring>
#include <filesystem>
#include <iostream>
#include <memory>
#include <optional>
#include <random>
#include <thread>

#include <netinet/in.h>
#include <sys/socket.h>
#include <unistd.h>

#include <nlohmann/json.hpp>

#include "board/soon.h"
#include "board/tools/kill.h"

namespace {

using namespace orka_tools_test;
using namespace std::chrono_literals;
using Clock = std::chrono::steady_clock;

constexpr size_t most_growth = 16 * 1024; /* KiB of memory, from the first idle moment to the last */
constexpr auto patience = 120s;           /* no program takes as long, on the slowest machine */

/* What the board holds at one moment. */
using Sample = std::array<size_t, 6>;
constexpr const char *sample_names[] = {"memory, KiB",  "descriptors", "IMEM blocks",
                                        "queue blocks", "open files",  "programs run"};
enum { memory, descriptors, imem_blocks, queue_blocks, open_files, programs };

class Soak {
  public:
    explicit Soak(unsigned seed) : random_(seed)
    {
        if (!orka_test::soon([this] { return board_.out().find("}\n") != std::string::npos; }))
            throw std::runtime_error("the board does not start: " + board_.err());
        environment_ = board_.out();
    }
    ~Soak()
    {
        board_.signal(SIGTERM);
        board_.wait();
        std::filesystem::remove_all(directory_);
    }
    Soak(const Soak &) = delete;
    Soak &operator=(const Soak &) = delete;

    bool run(std::chrono::minutes time)
    {
        const Clock::time_point end = Clock::now() + time;
        /* Meanwhile libraries are loaded, and threads come to their share of the heap. */
        work_until(Clock::now() + time / 3);
        const Sample first = idle_sample();
        most_ = first;
        work_until(end);
        const Sample last = idle_sample();
        print(first, last);
        const bool is_free = check(first, last);
        return plays_exactly() && is_free && failures_ == 0;
    }

  private:
    /* One of the things that go on at the same time. */
    struct Slot {
        std::unique_ptr<Process> process;
        std::string words;
        Clock::time_point kill_at; /* no sooner than its end where it is not to be killed */
        bool doomed = false;
    };

    uint32_t below(uint32_t bound) { return static_cast<uint32_t>(random_()) % bound; }
    std::string file(const std::string &name) const { return directory_ + "/" + name; }
    std::string running(const std::string &words) const { return environment_ + "exec " + words; }
    std::string look(const std::string &words) const { return std::string(ORKA_BOARD_PROGRAM) + " " + words; }

    std::string player()
    {
        const std::string play = std::string(ORKA_PLAY_PROGRAM) + " ";
        switch (below(3)) {
        case 0:
            return play + "--subtitles " + subtitles_ + " " + clip_;
        case 1:
            return play + "--snapshot " + file("snapshot.png") + " " + clip_;
        default:
            return play + clip_;
        }
    }
    /* Whatever sees through the camera: the capture input is one program's at a time. */
    std::string recorder()
    {
        const std::string record = std::string(ORKA_RECORD_PROGRAM) + " ";
        const std::string channel = " --seconds 1 --channel " + std::to_string(below(4));
        switch (below(5)) {
        case 0:
            return std::string(ORKA_CTL_PROGRAM) + " capture snap " + file("camera.png");
        case 1:
            return record + file("still.jpg");
        case 2:
            return record + file("still.png");
        case 3:
            return record + file("clip.mkv") + " --video H264 --audio PCM" + channel;
        default:
            return record + file("clip.avi") + channel;
        }
    }
    std::string looker()
    {
        const std::string control = std::string(ORKA_CTL_PROGRAM) + " ";
        switch (below(5)) {
        case 0:
            return control + "display toggle 480i QVGA";
        case 1:
            return control + (below(2) == 0 ? "display mask" : "display unmask");
        case 2:
            return look("screenshot " + file("screen.png"));
        default:
            return look("status --json");
        }
    }

    void work_until(Clock::time_point end)
    {
        while (Clock::now() < end) {
            for (size_t i = 0; i < slots_.size(); i++)
                tend(i);
            ask_view();
            note(sample());
            std::this_thread::sleep_for(20ms);
        }
    }

    void tend(size_t which)
    {
        Slot &slot = slots_[which];
        if (!slot.process)
            return begin(slot, which == 0 ? player() : which == 1 ? recorder() : looker());
        if (has_ended(*slot.process) || Clock::now() >= slot.kill_at)
            finish(slot);
    }

    void begin(Slot &slot, const std::string &words)
    {
        slot.words = words;
        slot.doomed = below(2) == 0;
        slot.kill_at = Clock::now() + (slot.doomed ? std::chrono::milliseconds(below(400)) : patience);
        slot.process = std::make_unique<Process>(Words{"sh", "-c", running(words)});
        count_++;
    }

    /* Without taking its status away. */
    static bool has_ended(const Process &process)
    {
        siginfo_t told{};
        return waitid(P_PID, static_cast<id_t>(process.id()), &told, WEXITED | WNOHANG | WNOWAIT) == 0 &&
               told.si_pid != 0;
    }

    void finish(Slot &slot)
    {
        slot.process->signal(SIGKILL);
        const int status = slot.process->wait();
        const bool is_killed = slot.doomed && status == 128 + SIGKILL;
        killed_ += is_killed;
        if (status != 0 && !is_killed) {
            failures_++;
            std::cerr << "soak: " << slot.words << " ended with " << status << ": " << slot.process->err();
        }
        slot.process.reset();
    }

    void finish_all()
    {
        for (Slot &slot : slots_) {
            while (slot.process && !has_ended(*slot.process) && Clock::now() < slot.kill_at)
                std::this_thread::sleep_for(10ms);
            if (slot.process)
                finish(slot);
        }
    }

    /* Of the live view, whose place the board says on standard error. */
    std::string answer_of_view(const std::string &path) const
    {
        const std::string said = board_.err();
        const size_t colon = said.rfind(':');
        sockaddr_in address{.sin_family = AF_INET,
                            .sin_port = htons(static_cast<uint16_t>(atoi(said.c_str() + colon + 1))),
                            .sin_addr = {htonl(INADDR_LOOPBACK)},
                            .sin_zero = {}};
        const std::string request =
            "GET " + path + " HTTP/1.1\r\nHost: localhost\r\nConnection: close\r\n\r\n";
        const int fd = socket(AF_INET, SOCK_STREAM | SOCK_CLOEXEC, 0);
        std::string answer;
        char part[4096];
        if (connect(fd, reinterpret_cast<const sockaddr *>(&address), sizeof address) == 0 &&
            send(fd, request.data(), request.size(), MSG_NOSIGNAL) > 0) {
            for (ssize_t got; (got = recv(fd, part, sizeof part, 0)) > 0;)
                answer.append(part, static_cast<size_t>(got));
        }
        close(fd);
        return answer;
    }

    nlohmann::json status() const
    {
        const std::string answer = answer_of_view("/status");
        const size_t body = answer.find("\r\n\r\n");
        if (body == std::string::npos)
            throw std::runtime_error("the live view does not answer");
        return nlohmann::json::parse(answer.substr(body + 4));
    }

    void ask_view()
    {
        constexpr const char *paths[] = {"/", "/picture.png?plane=composed", "/picture.png?plane=osd",
                                         "/trace?since=0"};
        if (!answer_of_view(paths[below(std::size(paths))]).starts_with("HTTP/1.1 200"))
            throw std::runtime_error("the live view does not answer");
    }

    Sample sample() const
    {
        const nlohmann::json told = status();
        const Holding holding = holding_of(board_.id());
        return {holding.memory,
                holding.descriptors,
                told["imem"]["blocks"].size(),
                told["queues"]["blocks"].get<size_t>(),
                told["nodes"].size(),
                count_};
    }
    void note(const Sample &now)
    {
        std::ranges::transform(most_, now, most_.begin(), [](size_t a, size_t b) { return std::max(a, b); });
    }

    /* The kernel tells the board of a program's end a moment later, and the view's threads close a moment
     * later. */
    Sample idle_sample()
    {
        finish_all();
        Sample idle = sample();
        for (int quiet = 0; quiet < 10; quiet++) {
            std::this_thread::sleep_for(200ms);
            const Sample now = sample();
            std::ranges::transform(idle, now, idle.begin(),
                                   [](size_t a, size_t b) { return std::min(a, b); });
        }
        note(idle);
        return idle;
    }

    void print(const Sample &first, const Sample &last) const
    {
        printf("%-14s %10s %10s %10s\n", "", "first", "last", "most");
        for (size_t i = 0; i < first.size(); i++)
            printf("%-14s %10zu %10zu %10zu\n", sample_names[i], first[i], last[i], most_[i]);
        printf("%zu programs were killed, %zu failed\n", killed_, failures_);
    }

    static bool check(const Sample &first, const Sample &last)
    {
        bool good = true;
        const auto expect = [&](bool holds, const char *what) {
            if (!holds)
                printf("FAILED: %s\n", what);
            good = good && holds;
        };
        expect(last[memory] <= first[memory] + most_growth, "the board's memory grew by more than 16 MiB");
        expect(last[descriptors] <= first[descriptors], "the board has more descriptors open than before");
        expect(last[imem_blocks] == 0, "IMEM blocks are left");
        expect(last[queue_blocks] == 0, "queues are left");
        expect(last[open_files] == 0, "files are left open");
        return good;
    }

    bool plays_exactly() const
    {
        const std::string frames = file("framemd5");
        const Ending ending = orka_tools_test::run(
            {"sh", "-c", running(std::string(ORKA_PLAY_PROGRAM) + " --framemd5 " + frames + " " + clip_)});
        const bool exact = ending.status == 0 &&
                           sizes_and_hashes(contents(frames)) == sizes_and_hashes(ffmpeg_framemd5(clip_));
        printf("%s\n", exact ? "the last clip is exact" : "FAILED: the last clip is not what FFmpeg decodes");
        return exact;
    }

    static std::string new_directory()
    {
        char name[] = "/tmp/orka-soak-XXXXXX";
        return mkdtemp(name);
    }

    std::mt19937 random_;
    const std::string directory_ = new_directory();
    const std::string clip_ = plain_clip();
    const std::string subtitles_ = [this] {
        write_file(file("texts.srt"), "1\n00:00:00,100 --> 00:00:00,800\nA line\n");
        return file("texts.srt");
    }();
    Process board_{{ORKA_BOARD_PROGRAM, "serve", "--reclaim", "--view"}};
    std::string environment_;
    std::array<Slot, 3> slots_;
    Sample most_{};
    size_t count_ = 0;
    size_t killed_ = 0;
    size_t failures_ = 0;
};

struct Order {
    std::chrono::minutes time{0};
    unsigned seed = std::random_device()();
};

std::optional<Order> order_of(const std::vector<std::string> &words)
{
    Order order;
    if (words.size() != 1 && !(words.size() == 3 && words[1] == "--seed"))
        return std::nullopt;
    order.time = std::chrono::minutes(atoi(words[0].c_str()));
    if (words.size() == 3)
        order.seed = static_cast<unsigned>(strtoul(words[2].c_str(), nullptr, 10));
    return order.time.count() > 0 ? std::optional(order) : std::nullopt;
}

} // namespace

int main(int argc, char **argv)
{
    const std::optional<Order> order = order_of({argv + 1, argv + argc});
    if (!order) {
        std::cerr << "usage: orka-soak MINUTES [--seed N]\n";
        return 2;
    }
    printf("soaking for %lld min, --seed %u\n", static_cast<long long>(order->time.count()), order->seed);
    fflush(stdout);
    /* Threads that come and go leave an arena each to the heap, half full: what is lost would not be seen. */
    setenv("MALLOC_ARENA_MAX", "1", 1);
    try {
        return Soak(order->seed).run(order->time) ? 0 : 1;
    } catch (const std::exception &error) {
        std::cerr << "soak: " << error.what() << "\n";
        return 1;
    }
}

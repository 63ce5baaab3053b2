#include "board/tools/support.h"

#include <cerrno>
#include <csignal>
#include <cstdlib>
#include <cstring>
#include <fstream>
#include <functional>
#include <gtest/gtest.h>
#include <iterator>
#include <sstream>
#include <stdexcept>
#include <system_error>

#include <fcntl.h>
#include <spawn.h>
#include <sys/file.h>
#include <sys/mman.h>
#include <sys/stat.h>
#include <sys/wait.h>
#include <unistd.h>

namespace orka_tools_test {

namespace {

const std::string clips = ORKA_TEST_CLIPS;

int kept_stream()
{
    const int fd = memfd_create("orka-test-stream", MFD_CLOEXEC);
    if (fd < 0)
        throw std::system_error(errno, std::generic_category(), "memfd_create");
    return fd;
}

std::string text_of(int fd)
{
    struct stat status;
    fstat(fd, &status);
    std::string text(static_cast<size_t>(status.st_size), '\0');
    const ssize_t got = pread(fd, text.data(), text.size(), 0);
    text.resize(got < 0 ? 0 : static_cast<size_t>(got));
    return text;
}

Words split(const std::string &text)
{
    std::istringstream stream(text);
    return {std::istream_iterator<std::string>(stream), {}};
}

/* Tests run at once: one makes the clip, the others wait for it. */
class Lock {
  public:
    explicit Lock(const std::string &path) : fd_(open(path.c_str(), O_CREAT | O_RDWR | O_CLOEXEC, 0666))
    {
        if (fd_ < 0 || flock(fd_, LOCK_EX) != 0)
            throw std::system_error(errno, std::generic_category(), path);
    }
    ~Lock() { close(fd_); }
    Lock(const Lock &) = delete;
    Lock &operator=(const Lock &) = delete;

  private:
    int fd_;
};

Ending checked(const Words &words)
{
    Ending ending = run(words);
    if (ending.status != 0)
        throw std::runtime_error(words.front() + " ended with " + std::to_string(ending.status) + ": " +
                                 ending.err);
    return ending;
}

} // namespace

Words operator+(Words left, const Words &right)
{
    left.insert(left.end(), right.begin(), right.end());
    return left;
}

Process::Process(const Words &words) : out_(kept_stream()), err_(kept_stream())
{
    std::vector<char *> argv;
    for (const std::string &word : words)
        argv.push_back(const_cast<char *>(word.c_str()));
    argv.push_back(nullptr);

    posix_spawn_file_actions_t actions;
    posix_spawn_file_actions_init(&actions);
    posix_spawn_file_actions_addopen(&actions, 0, "/dev/null", O_RDONLY, 0);
    posix_spawn_file_actions_adddup2(&actions, out_, 1);
    posix_spawn_file_actions_adddup2(&actions, err_, 2);
    const int error = posix_spawnp(&id_, argv[0], &actions, nullptr, argv.data(), environ);
    posix_spawn_file_actions_destroy(&actions);
    if (error != 0)
        throw std::system_error(error, std::generic_category(), words.front());
}

Process::~Process()
{
    if (id_ > 0) {
        signal(SIGKILL);
        wait();
    }
    close(out_);
    close(err_);
}

/* Of one that was waited for there is none; kill() would take -1 for every process there is. */
void Process::signal(int number) const
{
    if (id_ > 0)
        kill(id_, number);
}

int Process::wait()
{
    int status = 0;
    while (waitpid(id_, &status, 0) < 0 && errno == EINTR)
        continue;
    id_ = -1;
    return WIFEXITED(status) ? WEXITSTATUS(status) : 128 + WTERMSIG(status);
}

std::string Process::out() const
{
    return text_of(out_);
}

std::string Process::err() const
{
    return text_of(err_);
}

Ending run(const Words &words)
{
    Process process(words);
    const int status = process.wait();
    return {status, process.out(), process.err()};
}

Ending play(const Words &arguments)
{
    return run(Words{ORKA_BOARD_PROGRAM, "run", "--", ORKA_PLAY_PROGRAM} + arguments);
}

Ending record(const Words &arguments, const Words &board)
{
    return run(Words{ORKA_BOARD_PROGRAM, "run"} + board + Words{"--", ORKA_RECORD_PROGRAM} + arguments);
}

Ending control(const Words &arguments, const Words &board)
{
    return run(Words{ORKA_BOARD_PROGRAM, "run"} + board + Words{"--", ORKA_CTL_PROGRAM} + arguments);
}

std::string clip(const std::string &name, const std::string &arguments)
{
    mkdir(clips.c_str(), 0777);
    /* Another way to make it is another clip. */
    const std::string own_name = std::to_string(std::hash<std::string>()(arguments)) + "-" + name;
    const std::string path = clips + "/" + own_name;
    const Lock lock(clips + "/." + own_name + ".lock");
    if (access(path.c_str(), F_OK) == 0)
        return path;
    const std::string unfinished = clips + "/unfinished-" + own_name;
    checked(Words{"ffmpeg", "-v", "error", "-y"} + split(arguments) + Words{"-bitexact", unfinished});
    rename(unfinished.c_str(), path.c_str());
    return path;
}

std::string plain_clip()
{
    return clip("plain.avi",
                picture_source() + sound_source(44100) + "-c:v mpeg4 -g 5 -c:a libmp3lame -ac 2");
}

std::string scratch(const std::string &name)
{
    const testing::TestInfo &test = *testing::UnitTest::GetInstance()->current_test_info();
    std::string id = std::string(test.test_suite_name()) + "." + test.name() + ".";
    for (char &letter : id)
        letter = letter == '/' ? '.' : letter;
    mkdir(clips.c_str(), 0777);
    const std::string path = clips + "/" + id + name;
    unlink(path.c_str());
    return path;
}

std::string contents(const std::string &path)
{
    std::ifstream file(path, std::ios::binary);
    return {std::istreambuf_iterator<char>(file), {}};
}

void write_file(const std::string &path, const std::string &data)
{
    std::ofstream file(path, std::ios::binary);
    file.write(data.data(), static_cast<std::streamsize>(data.size()));
}

std::string probed(const std::string &file, const std::string &entries, const std::string &stream)
{
    Words words{"ffprobe", "-v", "error", "-show_entries", entries, "-of", "default=noprint_wrappers=1"};
    if (!stream.empty())
        words = words + Words{"-select_streams", stream};
    return checked(words + Words{file}).out;
}

std::string decoding_errors(const std::string &file)
{
    return run({"ffmpeg", "-v", "error", "-xerror", "-i", file, "-f", "null", "-"}).err;
}

std::string decoded_luma(const std::string &file)
{
    return checked({"ffmpeg", "-v", "error", "-i", file, "-map", "0:v:0", "-fps_mode", "passthrough", "-vf",
                    "extractplanes=y", "-f", "rawvideo", "-"})
        .out;
}

std::vector<int16_t> decoded_sound(const std::string &file, int rate)
{
    const std::string bytes = checked({"ffmpeg", "-v", "error", "-i", file, "-map", "0:a:0", "-ac", "1",
                                       "-ar", std::to_string(rate), "-f", "s16le", "-"})
                                  .out;
    std::vector<int16_t> samples(bytes.size() / sizeof(int16_t));
    memcpy(samples.data(), bytes.data(), samples.size() * sizeof(int16_t));
    return samples;
}

Words sizes_and_hashes(const std::string &framemd5)
{
    std::istringstream stream(framemd5);
    Words result;
    for (std::string line; std::getline(stream, line);) {
        if (line.empty() || line[0] == '#')
            continue;
        const size_t hash = line.rfind(',');
        result.push_back(line.substr(line.rfind(',', hash - 1)));
    }
    return result;
}

std::string played_framemd5(const std::string &file, const Words &options)
{
    const std::string output = scratch("framemd5");
    const Ending ending = play(options + Words{"--framemd5", output, file});
    EXPECT_EQ(ending.status, 0) << ending.err;
    return contents(output);
}

/*
 * On one thread: with more, FFmpeg's own pictures vary, where it conceals damage, and where it scales
 * pictures of odd sizes in slices.
 */
std::string ffmpeg_framemd5(const std::string &file)
{
    return run({"ffmpeg", "-v", "quiet", "-threads", "1", "-filter_threads", "1", "-i", file, "-map", "0:v:0",
                "-fps_mode", "passthrough", "-vf", "scale=flags=neighbor,format=uyvy422", "-f", "framemd5",
                "-"})
        .out;
}

std::string played_pcm(const std::string &file, const Words &options)
{
    const std::string output = scratch("pcm");
    const Ending ending = play(options + Words{"--pcm", output, file});
    EXPECT_EQ(ending.status, 0) << ending.err;
    return contents(output);
}

std::string ffmpeg_pcm(const std::string &file)
{
    return checked({"ffmpeg", "-v", "error", "-i", file, "-map", "0:a:0", "-f", "s16le", "-"}).out;
}

std::string picture_source(const std::string &size, double seconds)
{
    return "-f lavfi -i testsrc2=size=" + size + ":rate=25:duration=" + std::to_string(seconds) + " ";
}

std::string sound_source(int rate, double seconds)
{
    return "-f lavfi -i sine=frequency=440:sample_rate=" + std::to_string(rate) +
           ":duration=" + std::to_string(seconds) + " ";
}

} // namespace orka_tools_test

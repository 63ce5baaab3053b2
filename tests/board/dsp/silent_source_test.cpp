/* Sources that give nothing for a while, or for ever: what waits for them can be ended at any time. */
#include <gtest/gtest.h>

#include <csignal>
#include <filesystem>
#include <thread>

#include <fcntl.h>
#include <netinet/in.h>
#include <sys/socket.h>
#include <sys/stat.h>
#include <unistd.h>

#include "board/dsp/clip.h"
#include "board/dsp/pictures.h"
#include "dsp/media_camera.h"
#include "dsp/picture_controls.h"

namespace orka::board::test {
namespace {

constexpr unsigned pictures = 5;

/* Of 64x48, whose reader knows all of the stream from its first picture. */
std::string moving_clip()
{
    return make_file("-f lavfi -i testsrc2=size=64x48:rate=25:duration=0.2 -pix_fmt yuv420p", ".y4m");
}

std::string sounding_clip()
{
    return make_file("-f lavfi -i sine=sample_rate=8000:duration=0.2", ".wav");
}

/* A FIFO of the test's own; writers that nobody reads get an error. */
class FifoTest : public testing::Test {
  protected:
    FifoTest()
    {
        signal(SIGPIPE, SIG_IGN);
        std::filesystem::remove(fifo);
        EXPECT_EQ(mkfifo(fifo.c_str(), 0600), 0);
    }
    ~FifoTest() override { std::filesystem::remove(fifo); }

    /* Writes a file into it, once somebody reads it. */
    std::jthread feed(const std::string &path) const
    {
        return std::jthread([this, data = read_file(path)] {
            const int writer = ::open(fifo.c_str(), O_WRONLY | O_CLOEXEC);
            for (size_t at = 0; at < data.size();) {
                const ssize_t put = write(writer, data.data() + at, data.size() - at);
                if (put < 0)
                    break;
                at += static_cast<size_t>(put);
            }
            close(writer);
        });
    }

    const std::string fifo = write_file("fifo-" + std::to_string(getpid()), {});
};

/* It is asked so many times, with waits between; then it says so. */
Stop after(int times)
{
    return [times, asked = std::make_shared<int>(0)] { return ++*asked > times; };
}

void expect_given_up(const std::string &source)
{
    std::string why;
    EXPECT_EQ(MediaStream::open(source, AVMEDIA_TYPE_VIDEO, why, after(3)), nullptr);
    EXPECT_NE(why, "");
}

unsigned count_pictures(MediaStream &stream)
{
    unsigned count = 0;
    const av::Frame frame(av::need(av_frame_alloc()));
    while (stream.next(*frame) == MediaStream::Step::frame)
        count++;
    return count;
}

TEST_F(FifoTest, IsReadAsAFileIs)
{
    const std::jthread feeder = feed(moving_clip());
    std::string why;
    const auto stream = MediaStream::open(fifo, AVMEDIA_TYPE_VIDEO, why);
    ASSERT_NE(stream, nullptr) << why;
    EXPECT_EQ(count_pictures(*stream), pictures);
}

TEST_F(FifoTest, ThatNobodyWritesIsGivenUp)
{
    expect_given_up(fifo);
}

TEST_F(FifoTest, WhoseWriterIsSilentIsGivenUp)
{
    const int writer = ::open(fifo.c_str(), O_RDWR | O_CLOEXEC);
    expect_given_up(fifo);
    close(writer);
}

TEST_F(FifoTest, WhoseWriterFallsSilentGivesWhatCameAndIsGivenUp)
{
    const std::vector<uint8_t> data = read_file(moving_clip());
    const int writer = ::open(fifo.c_str(), O_RDWR | O_CLOEXEC);
    ASSERT_EQ(write(writer, data.data(), data.size()), static_cast<ssize_t>(data.size()));
    bool silent = false;
    std::string why;
    const auto stream = MediaStream::open(fifo, AVMEDIA_TYPE_VIDEO, why,
                                          [&silent, later = after(100)] { return silent && later(); });
    ASSERT_NE(stream, nullptr) << why;
    silent = true;
    EXPECT_EQ(count_pictures(*stream), pictures);
    close(writer);
}

TEST_F(FifoTest, ACameraThatWaitsForOneIsCancelled)
{
    std::string why;
    const PictureControls controls;
    std::jthread feeder = feed(moving_clip());
    const auto camera = with_controls(Camera::create(fifo, why), controls);
    feeder.join();
    const auto view = camera->open();
    std::vector<uint8_t> picture(pal.picture_size());
    std::jthread taker([&] { view->picture(pal, 0, picture); });
    view->cancel();
    taker.join();
    EXPECT_EQ(picture[1], 16) << "black";
}

TEST_F(FifoTest, AMicrophoneThatWaitsForOneIsCancelled)
{
    std::string why;
    std::jthread feeder = feed(sounding_clip());
    const auto microphone = Microphone::create(fifo, why);
    ASSERT_NE(microphone, nullptr) << why;
    feeder.join();
    const auto view = microphone->open();
    std::vector<int16_t> samples(80, 1);
    std::jthread taker([&] { view->sound(8000, 1, 0, samples); });
    view->cancel();
    taker.join();
    EXPECT_EQ(samples, std::vector<int16_t>(80));
}

/* Somebody takes the connection, and says nothing. */
TEST(SilentAddress, IsGivenUp)
{
    const int listener = socket(AF_INET, SOCK_STREAM | SOCK_CLOEXEC, 0);
    sockaddr_in address{
        .sin_family = AF_INET, .sin_port = 0, .sin_addr = {htonl(INADDR_LOOPBACK)}, .sin_zero = {}};
    socklen_t length = sizeof address;
    ASSERT_EQ(bind(listener, reinterpret_cast<sockaddr *>(&address), length), 0);
    ASSERT_EQ(listen(listener, 1), 0);
    ASSERT_EQ(getsockname(listener, reinterpret_cast<sockaddr *>(&address), &length), 0);
    expect_given_up("tcp://127.0.0.1:" + std::to_string(ntohs(address.sin_port)));
    close(listener);
}

} // namespace
} // namespace orka::board::test

/* The same C program, built for each ABI, decodes the same pictures on the same kind of board. */
#include <cstdlib>
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <ostream>
#include <sstream>
#include <stdexcept>

#include <unistd.h>

extern "C" {
#include <libavformat/avformat.h>
}

#include "board/tools/support.h"

namespace orka_tools_test {

void append(std::string &file, uint32_t flags, int64_t milliseconds, const uint8_t *data, int size)
{
    const uint32_t words[] = {flags, static_cast<uint32_t>(milliseconds), static_cast<uint32_t>(size)};
    file.append(reinterpret_cast<const char *>(words), sizeof words);
    file.append(reinterpret_cast<const char *>(data), static_cast<size_t>(size));
}

/* The clip's picture as decode_file reads it. */
std::string packets_of(const std::string &path, const std::string &image, const std::string &type)
{
    AVFormatContext *context = nullptr;
    if (avformat_open_input(&context, path.c_str(), nullptr, nullptr) < 0 ||
        avformat_find_stream_info(context, nullptr) < 0)
        throw std::runtime_error(path);
    const AVCodecParameters &codec = *context->streams[0]->codecpar;
    std::string file =
        image + " " + type + " " + std::to_string(codec.width) + " " + std::to_string(codec.height) + "\n";
    if (codec.extradata_size > 0)
        append(file, 2, 0, codec.extradata, codec.extradata_size);
    AVPacket *packet = av_packet_alloc();
    for (; av_read_frame(context, packet) >= 0; av_packet_unref(packet))
        append(file, packet->flags & AV_PKT_FLAG_KEY,
               av_rescale_q(packet->pts, context->streams[0]->time_base, {1, 1000}), packet->data,
               packet->size);
    av_packet_free(&packet);
    avformat_close_input(&context);
    return file;
}

/* One line a picture, as decode_file prints them, from `ffmpeg -f framecrc`. */
std::string sums_by_ffmpeg(const std::string &path, const std::string &size)
{
    std::istringstream lines(
        run({"ffmpeg", "-v", "error", "-i", path, "-vf", "scale=flags=neighbor,format=uyvy422", "-fps_mode",
             "passthrough", "-f", "framecrc", "-"})
            .out);
    std::string result;
    int number = 0;
    for (std::string line; std::getline(lines, line);) {
        if (line[0] != '#')
            result += std::to_string(number) + " " + std::to_string(number * 40) + " " + size + " " +
                      line.substr(line.rfind(' ') + 1) + "\n";
        number += line[0] != '#';
    }
    return result;
}

struct Abi {
    const char *name;
    const char *tree; /* beside this build */
};

void PrintTo(const Abi &abi, std::ostream *stream)
{
    *stream << abi.name;
}

class AbiProgram : public testing::TestWithParam<Abi> {
  protected:
    explicit AbiProgram(const std::string &name) : program_name(name) {}

    /* The tests of a program of another ABI need that ABI's build. */
    void SetUp() override
    {
        setenv("QEMU_CPU", "arm926", 1); /* whoever starts the emulator */
        tree = GetParam().tree;
        program = tree + "/programs/" + program_name;
        if (access(program.c_str(), X_OK) != 0)
            GTEST_SKIP() << "there is no " << program << ": `./x build " << GetParam().name << "` makes it";
    }

    Ending run_program(const Words &arguments) const
    {
        return run(Words{ORKA_BOARD_PROGRAM, "run", "--shims", tree + "/shims", "--", program} + arguments);
    }

    std::string program_name;
    std::string tree;
    std::string program;
};

class DecodeFile : public AbiProgram {
  protected:
    DecodeFile() : AbiProgram("decode_file") {}

    Ending decode(const std::string &name, const std::string &clip, const std::string &image,
                  const std::string &type) const
    {
        const std::string packets = scratch(name);
        write_file(packets, packets_of(clip, image, type));
        return run_program({packets});
    }
};

class ShowSubtitles : public AbiProgram {
  protected:
    ShowSubtitles() : AbiProgram("show_subtitles") {}
};

TEST_P(DecodeFile, GivesThePicturesThatFfmpegDecodesOfMpeg4)
{
    const std::string file = clip("abi_mpeg4.mp4", picture_source() + "-c:v mpeg4 -bf 2");
    const Ending ending = decode("mpeg4", file, "mpeg4_pcm_dec", "MPEG4");
    EXPECT_EQ(ending.status, 0) << ending.err;
    EXPECT_EQ(ending.out, sums_by_ffmpeg(file, "352x288"));
}

TEST_P(DecodeFile, GivesThePicturesThatFfmpegDecodesOfH264)
{
    const std::string file = clip("abi_h264.mp4", picture_source() + "-c:v libx264 -threads 1 -bf 2");
    const Ending ending = decode("h264", file, "h264_pcm_dec", "H264");
    EXPECT_EQ(ending.status, 0) << ending.err;
    EXPECT_EQ(ending.out, sums_by_ffmpeg(file, "352x288"));
}

TEST_P(ShowSubtitles, FillsTheQueueAndIsRefusedWhatThereIsNot)
{
    const Ending ending = run_program({});
    EXPECT_EQ(ending.status, 0) << ending.err;
    EXPECT_EQ(ending.out, "queue of 4096 bytes, frames of 2048\n"
                          "first frame: SUCCESS\n"
                          "second frame: SUCCESS\n"
                          "third frame: TIMEOUT\n"
                          "a frame to take: ERROR(I/O)\n"
                          "a frame after stop: SUCCESS\n");
    EXPECT_NE(ending.err.find("Invalid argument"), std::string::npos) << ending.err;
}

const Abi abis[] = {
    {"host", ORKA_BUILD_TREE}, {"i686", ORKA_BUILD_TREE "/../i686"}, {"armel", ORKA_BUILD_TREE "/../armel"}};

std::string name_of(const testing::TestParamInfo<Abi> &info)
{
    return info.param.name;
}

INSTANTIATE_TEST_SUITE_P(On, DecodeFile, testing::ValuesIn(abis), name_of);
INSTANTIATE_TEST_SUITE_P(On, ShowSubtitles, testing::ValuesIn(abis), name_of);

} // namespace orka_tools_test

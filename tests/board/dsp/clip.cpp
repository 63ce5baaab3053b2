#include "board/dsp/clip.h"

#include <cinttypes>
#include <cstdio>
#include <filesystem>
#include <fstream>
#include <functional>
#include <iterator>
#include <memory>
#include <sstream>
#include <stdexcept>

#include <unistd.h>

extern "C" {
#include <libavformat/avformat.h>
#include <libavutil/md5.h>
}

namespace orka::board::test {

namespace {

const std::filesystem::path clip_folder = CLIP_FOLDER;

/*
 * Tests that run side by side may make the same file: each writes its own and moves it into place when
 * whole.
 */
std::filesystem::path fresh_path(const std::string &name)
{
    return clip_folder / (std::to_string(getpid()) + "-" + name);
}

std::string output_of(const std::string &command)
{
    const std::unique_ptr<FILE, int (*)(FILE *)> pipe(popen(command.c_str(), "r"), pclose);
    if (pipe == nullptr)
        throw std::runtime_error("cannot run " + command);
    std::string output;
    char buffer[65536];
    while (const size_t length = fread(buffer, 1, sizeof buffer, pipe.get()))
        output.append(buffer, length);
    return output;
}

uint32_t to_ms(int64_t time, AVRational base)
{
    return time == AV_NOPTS_VALUE ? no_tsms : static_cast<uint32_t>(av_rescale_q(time, base, {1, 1000}));
}

void read_parameters(Clip &clip, const AVCodecParameters &parameters)
{
    clip.header.assign(parameters.extradata, parameters.extradata + parameters.extradata_size);
    clip.width = static_cast<uint32_t>(parameters.width);
    clip.height = static_cast<uint32_t>(parameters.height);
    clip.sample_rate = static_cast<uint32_t>(parameters.sample_rate);
    clip.channels = static_cast<uint32_t>(parameters.ch_layout.nb_channels);
    clip.bit_rate = static_cast<uint32_t>(parameters.bit_rate);
    clip.block_align = static_cast<uint32_t>(parameters.block_align);
}

void read_packets(Clip &clip, AVFormatContext *format)
{
    AVPacket *packet = av_packet_alloc();
    const AVRational base = format->streams[0]->time_base;
    while (av_read_frame(format, packet) >= 0) {
        if (packet->stream_index == 0)
            clip.packets.push_back({{packet->data, packet->data + packet->size},
                                    to_ms(packet->pts, base),
                                    to_ms(packet->duration, base),
                                    (packet->flags & AV_PKT_FLAG_KEY) != 0});
        av_packet_unref(packet);
    }
    av_packet_free(&packet);
}

/* Options as the tool takes them, "-name value -name value". */
AVDictionary *to_dictionary(const std::string &options)
{
    AVDictionary *dictionary = nullptr;
    std::istringstream words(options);
    std::string name;
    std::string value;
    while (words >> name >> value)
        av_dict_set(&dictionary, name.c_str() + 1, value.c_str(), 0);
    return dictionary;
}

} // namespace

std::string make_file(const std::string &arguments, const std::string &suffix)
{
    std::filesystem::create_directories(clip_folder);
    const std::string name = std::to_string(std::hash<std::string>{}(arguments + suffix));
    const std::filesystem::path made = clip_folder / (name + suffix);
    if (std::filesystem::exists(made))
        return made;
    const std::filesystem::path fresh = fresh_path(name + suffix);
    const std::string command = "ffmpeg -v error -y -bitexact " + arguments + " " + fresh.string() + " 2>&1";
    const std::string said = output_of(command);
    if (!std::filesystem::exists(fresh) || std::filesystem::file_size(fresh) == 0)
        throw std::runtime_error(command + ": " + said);
    std::filesystem::rename(fresh, made);
    return made;
}

Clip read_clip(const std::string &path, const std::string &input)
{
    Clip clip{.path = path};
    AVFormatContext *format = nullptr;
    AVDictionary *options = to_dictionary(input);
    av_log_set_level(AV_LOG_QUIET);
    const AVInputFormat *demuxer = nullptr;
    if (const AVDictionaryEntry *named = av_dict_get(options, "f", nullptr, 0))
        demuxer = av_find_input_format(named->value);
    if (avformat_open_input(&format, path.c_str(), demuxer, &options) < 0)
        throw std::runtime_error("cannot read " + path);
    avformat_find_stream_info(format, nullptr);
    read_parameters(clip, *format->streams[0]->codecpar);
    read_packets(clip, format);
    avformat_close_input(&format);
    av_dict_free(&options);
    return clip;
}

Clip make_clip(const std::string &arguments, const std::string &suffix)
{
    return read_clip(make_file(arguments, suffix));
}

std::string hash_of(std::span<const uint8_t> picture)
{
    uint8_t digest[16];
    av_md5_sum(digest, picture.data(), picture.size());
    std::string text = std::to_string(picture.size()) + " ";
    for (const uint8_t byte : digest) {
        char hex[3];
        snprintf(hex, sizeof hex, "%02x", byte);
        text += hex;
    }
    return text;
}

Hashes ffmpeg_hashes(const std::string &path, const std::string &input, const std::string &scaling)
{
    /* One thread each: with more, what damaged places are patched with depends on how the threads run, and
       the lines that threads of the scaler begin at on how many processors there are. */
    std::istringstream lines(output_of("ffmpeg -v quiet -filter_threads 1 -threads 1 " + input + " -i " +
                                       path + " -map 0:v:0 -fps_mode passthrough -vf scale=flags=neighbor" +
                                       scaling + ",format=uyvy422 -f framemd5 -"));
    Hashes hashes;
    std::string line;
    while (std::getline(lines, line)) {
        unsigned long size = 0;
        char digest[33] = {};
        if (sscanf(line.c_str(), "0, %*d, %*d, %*d, %lu, %32s", &size, digest) == 2)
            hashes.push_back(std::to_string(size) + " " + digest);
    }
    return hashes;
}

std::vector<int16_t> ffmpeg_samples(const std::string &path, const std::string &input)
{
    /* The delay that containers want trimmed is the player's to trim. */
    const std::string bytes =
        output_of("ffmpeg -v quiet -flags2 skip_manual " + input + " -i " + path + " -f s16le -");
    std::vector<int16_t> samples(bytes.size() / 2);
    bytes.copy(reinterpret_cast<char *>(samples.data()), samples.size() * 2);
    return samples;
}

std::string moving_picture(int width, int height, double seconds, const std::string &pixels)
{
    const std::string size = std::to_string(width) + ":" + std::to_string(height);
    return "-f lavfi -i testsrc2=size=" + std::to_string(width + 2) + "x" + std::to_string(height + 2) +
           ":rate=25:duration=" + std::to_string(seconds) + " -vf format=yuv444p,crop=" + size +
           ":1:1:exact=1,format=" + pixels;
}

std::vector<uint8_t> read_file(const std::string &path)
{
    std::ifstream file(path, std::ios::binary);
    return {std::istreambuf_iterator<char>(file), {}};
}

std::string write_file(const std::string &name, std::span<const uint8_t> data)
{
    std::filesystem::create_directories(clip_folder);
    const std::filesystem::path path = clip_folder / name;
    const std::filesystem::path fresh = fresh_path(name);
    std::ofstream(fresh, std::ios::binary)
        .write(reinterpret_cast<const char *>(data.data()), static_cast<std::streamsize>(data.size()));
    std::filesystem::rename(fresh, path);
    return path;
}

} // namespace orka::board::test

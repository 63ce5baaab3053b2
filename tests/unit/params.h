/* What the tests of the decoders' and of the encoders' parameters share. */
#ifndef ORKA_TESTS_PARAMS_H
#define ORKA_TESTS_PARAMS_H

#include <cstring>
#include <gtest/gtest.h>
#include <map>
#include <span>
#include <string>
#include <vector>

#include "orka_media.h"
#include "support/harness.h"

namespace orka_test {

/* A descriptor whose every word but the named ones must not matter. */
inline orka_audio_desc_t audio(int32_t type, uint32_t rate, uint32_t bitrate)
{
    return {.valid = 0,
            .type = type,
            .reserved = 9,
            .channels = 0x102,
            .sample_rate = rate,
            .bitrate = bitrate,
            .extra0 = 90,
            .extra1 = 91,
            .extra2 = 92,
            .extra3 = 93,
            .extra4 = 94};
}

/* Tried on types that have bitrates and one sample rate of their own. */
inline constexpr uint32_t tried_bitrates[] = {0, 4, 5, 7, 8, 16, 24, 31, 32, 40, 48, 56, 63, 64, 65, 4000};
inline constexpr uint32_t tried_rates[] = {0, 7999, 8000, 8001, 16000, 44100, 0xFFFFFFFF};

/* "G.722.1" as the name of a test. */
template <typename Row>
std::string name_without_dots(const testing::TestParamInfo<Row> &info)
{
    std::string name = info.param.name;
    std::erase(name, '.');
    return name;
}

/* The images that a table of combinations names. */
class CodecNameTest : public HarnessTest {
  protected:
    /* For each video type the image of every column; "-" where no image serves the combination. */
    using Selection = std::map<std::string, std::vector<const char *>>;

    CodecNameTest(const char *function, const char *tag, const char *(*call)(int32_t vtype, int32_t atype))
        : function_(function), tag_(tag), call_(call)
    {
    }

    void expect_table(std::span<const char *const> columns, const Selection &selection)
    {
        for (const auto &[video, names] : selection) {
            ASSERT_EQ(names.size(), columns.size());
            for (size_t i = 0; i < columns.size(); i++)
                expect_name(video, orka_media_audio_type(columns[i]), names[i]);
        }
    }

    void expect_no_audio(const Selection &selection, std::span<const int32_t> atypes)
    {
        for (const auto &row : selection) {
            for (int32_t atype : atypes)
                expect_combination_refused(row.first, atype);
        }
    }

    void expect_no_video(std::span<const std::pair<int32_t, const char *>> vtypes)
    {
        for (auto [vtype, name] : vtypes) {
            for (int32_t atype : {0, 1, 15, 16, -1})
                expect_none(vtype, atype, std::string("Unsupported Video Type (") + name + ").");
        }
    }

  private:
    void expect_name(const std::string &video, int32_t atype, const char *name)
    {
        if (name != nullptr && strcmp(name, "-") == 0)
            expect_combination_refused(video, atype);
        else
            EXPECT_STREQ(call_(orka_media_video_type(video.c_str()), atype), name) << video << " " << atype;
    }

    void expect_combination_refused(const std::string &video, int32_t atype)
    {
        expect_none(orka_media_video_type(video.c_str()), atype,
                    "Unsupported Video(" + video + ") Audio(" + orka_media_audio_string(atype) +
                        ") Combination.");
    }

    void expect_none(int32_t vtype, int32_t atype, const std::string &message)
    {
        EXPECT_EQ(call_(vtype, atype), nullptr) << vtype << " " << atype;
        EXPECT_EQ(log.take_error(), error_line(function_, tag_ + message));
    }

    const char *function_;
    std::string tag_;
    const char *(*call_)(int32_t vtype, int32_t atype);
};

} // namespace orka_test

#endif

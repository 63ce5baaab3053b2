/* The capture modes: their list, how names are compared, and the search, held against a model of it. */
#include "orka_icapture.h"

#include <cstdio>
#include <cstring>
#include <gtest/gtest.h>
#include <iterator>
#include <string>
#include <strings.h>

#include "common/orka_icapture_internal.h"
#include "support/harness.h"
#include "support/words.h"

using namespace orka_test;

namespace {

constexpr const char *search = "find_capture_params";

struct Mode {
    const char *mode;
    uint16_t height;
    uint32_t req_height;
    uint32_t frame_rate;
    uint32_t interlaced;
};

const Mode modes[] = {
    {"480i_field", 240, 480, 30, 0},
    {"576i_field", 288, 576, 25, 0},
    {"480i_frame", 480, 480, 30, 1},
    {"576i_frame", 576, 576, 25, 1},
};

orka_capture_params_t row_of(size_t index, const char *device = "TVP5150")
{
    const Mode &mode = modes[index];
    orka_capture_params_t row = {};
    const uint32_t head[] = {0, 0, 1, 1, 1, 10, 720, mode.height, 720, mode.req_height, 0, 6, 6};
    memcpy(&row, head, sizeof head);
    row.frame_rate = mode.frame_rate;
    strcpy(row.device, device);
    strcpy(row.mode, mode.mode);
    row.width = 720;
    row.height = mode.height;
    row.interlaced = mode.interlaced;
    return row;
}

std::string looked_at(size_t index, const char *device = "TVP5150")
{
    return warning_line(search, std::string("ORKA_ICAPTURE: Device name [") + device + "] Mode [" +
                                    modes[index].mode + "].");
}

std::string looked_at_all()
{
    return looked_at(0) + looked_at(1) + looked_at(2) + looked_at(3);
}

const std::string defaults_line =
    warning_line(search, "ORKA_ICAPTURE: Finding Requested Capture Mode. Using Defaults.");

class CaptureModes : public HarnessTest {
  protected:
    void expect_row(const char *device, const char *mode, size_t row, const std::string &output)
    {
        const orka_display_request_t request = {device, mode, 352, 288};
        orka_capture_params_t params;
        orka_capture_params_t expected = row_of(row);
        expected.req_width = 352;
        expected.req_height = 288;
        memset(&params, 0xAA, sizeof params);
        EXPECT_EQ(orka_icapture_get_capture_params(&params, &request), ORKA_STATUS_SUCCESS);
        EXPECT_EQ(words_of(params), words_of(expected))
            << (device ? device : "null") << " " << (mode ? mode : "null");
        EXPECT_EQ(log.take_output(), output);
    }
};

TEST_F(CaptureModes, ArePrintedWithTheCallersTexts)
{
    orka_icapture_print_modes(stdout, "<", "; ", ">\n");
    EXPECT_EQ(log.take_output(),
              "<TVP5150 480i_field (720x240) Progressive; TVP5150 576i_field (720x288) Progressive; "
              "TVP5150 480i_frame (720x480) Interlaced; TVP5150 576i_frame (720x576) Interlaced>\n");
}

TEST_F(CaptureModes, ArePrintedToTheStreamAskedForWithoutTextsThatAreNull)
{
    orka_icapture_print_modes(stderr, nullptr, nullptr, nullptr);
    EXPECT_EQ(log.take_error(),
              "TVP5150 480i_field (720x240) ProgressiveTVP5150 576i_field (720x288) Progressive"
              "TVP5150 480i_frame (720x480) InterlacedTVP5150 576i_frame (720x576) Interlaced");
}

TEST(CaptureModeName, IsWantedInFullOrUpToAnUnderscore)
{
    EXPECT_EQ(mode_name_cmp("480i_field", "480i_field"), 0);
    EXPECT_EQ(mode_name_cmp("480i_field", "480I_FIELD"), 0);
    EXPECT_EQ(mode_name_cmp("480i_field", "480i"), 0);
    EXPECT_EQ(mode_name_cmp("480I_FIELD", "480i"), 0);
    EXPECT_EQ(mode_name_cmp("480i", "480i"), 0);
}

TEST(CaptureModeName, ThatGoesOnOtherwiseIsGreater)
{
    EXPECT_EQ(mode_name_cmp("480i_field", "480"), 1);
    EXPECT_EQ(mode_name_cmp("480i_field", "480i_"), 1);
    EXPECT_EQ(mode_name_cmp("480i_field", "480i_f"), 1);
    EXPECT_EQ(mode_name_cmp("480i_field", ""), 1);
}

TEST(CaptureModeName, IsOrderedByTheFirstCharactersThatDifferInUpperCase)
{
    EXPECT_EQ(mode_name_cmp("480i_field", "576i"), -1);
    EXPECT_EQ(mode_name_cmp("576i_field", "480i"), 1);
    EXPECT_EQ(mode_name_cmp("480i", "480i_field"), -1);
    /* '_' lies between the cases: above 'F' and below 'f'. */
    EXPECT_EQ(mode_name_cmp("480i_field", "480if"), 1);
    EXPECT_EQ(mode_name_cmp("480i_field", "480i\xE9"), -1);
}

TEST_F(CaptureModes, OfADeviceAndModeAreFoundFromTheDevicesFirstRowOn)
{
    expect_row("TVP5150", "480i", 0, looked_at(0));
    expect_row("TVP5150", "576i", 1, looked_at(0) + looked_at(1));
    expect_row("tvp5150", "480I_Frame", 2, looked_at(0) + looked_at(1) + looked_at(2));
    expect_row("TVP5150", "576i_frame", 3, looked_at_all());
}

TEST_F(CaptureModes, OfADeviceAreFoundByTheirNumber)
{
    expect_row("TVP5150", "0", 0, looked_at(0));
    expect_row("TVP5150", "1", 1, looked_at(0) + looked_at(1));
    expect_row("TVP5150", "3", 3, looked_at_all());
}

TEST_F(CaptureModes, ThatADeviceDoesNotHaveGiveItsFirstRow)
{
    expect_row("TVP5150", "720p", 0, looked_at_all());
    expect_row("TVP5150", "4", 0, looked_at_all());
    expect_row("TVP5150", "x", 0, looked_at_all());
    expect_row("TVP5150", "02", 0, looked_at_all());
}

TEST_F(CaptureModes, OfADeviceAloneAreItsFirstSilently)
{
    expect_row("TVP5150", nullptr, 0, "");
    expect_row("Tvp5150", "", 0, "");
}

TEST_F(CaptureModes, OfAnUnknownDeviceAreTheDefault)
{
    expect_row("TVP", "576i", 0, defaults_line);
    expect_row("LCD", "1", 0, defaults_line);
    expect_row("LCD", nullptr, 0, defaults_line);
}

TEST_F(CaptureModes, OfAModeAloneAreFoundWithAWarningForEachRow)
{
    expect_row(nullptr, "480i", 0, looked_at(0));
    expect_row("", "576i_frame", 3, looked_at_all());
}

TEST_F(CaptureModes, OfANumberAloneAreFound)
{
    expect_row(nullptr, "2", 2, looked_at(0) + looked_at(1) + looked_at(2));
    expect_row(nullptr, "0", 0, looked_at(0));
}

TEST_F(CaptureModes, OfAnUnknownModeAreTheDefault)
{
    for (const char *mode : {"720p", "4", "9", "x", "/", ":", "12", "480", "480i_", "-1"})
        expect_row(nullptr, mode, 0, looked_at_all() + defaults_line);
}

TEST_F(CaptureModes, OfNoNamesAreTheDefaultSilently)
{
    expect_row(nullptr, nullptr, 0, "");
    expect_row("", "", 0, "");
}

TEST_F(CaptureModes, OfNoRequestKeepTheirOwnSize)
{
    orka_capture_params_t params;
    memset(&params, 0xAA, sizeof params);
    EXPECT_EQ(orka_icapture_get_capture_params(&params, nullptr), ORKA_STATUS_SUCCESS);
    EXPECT_EQ(words_of(params), words_of(row_of(0)));
}

TEST_F(CaptureModes, TakeARequestedSizeOfZero)
{
    const orka_display_request_t request = {"TVP5150", nullptr, 0, 0};
    orka_capture_params_t params;
    EXPECT_EQ(orka_icapture_get_capture_params(&params, &request), ORKA_STATUS_SUCCESS);
    EXPECT_EQ(params.req_width, 0u);
    EXPECT_EQ(params.req_height, 0u);
}

TEST_F(CaptureModes, NeedAPlaceToGo)
{
    EXPECT_EQ(orka_icapture_get_capture_params(nullptr, nullptr), ORKA_STATUS_NULL_POINTER);
    EXPECT_EQ(log.take_error(),
              error_line("orka_icapture_get_capture_params", "ORKA_ICAPTURE: NULL Pointer Deref."));
}

TEST_F(CaptureModes, AreNotSearchedWithoutAPlaceToGo)
{
    const orka_capture_params_t table[] = {row_of(0)};
    EXPECT_EQ(find_capture_params(nullptr, nullptr, table), ORKA_STATUS_NULL_POINTER);
    EXPECT_EQ(log.take_error(), error_line(search, "ORKA_ICAPTURE: NULL Pointer Deref."));
}

TEST_F(CaptureModes, OfAnEmptyTableAreNone)
{
    orka_capture_params_t params = row_of(1);
    EXPECT_EQ(find_capture_params(&params, nullptr, {}), ORKA_STATUS_ERROR);
    EXPECT_EQ(log.take_error(), error_line(search, "ORKA_ICAPTURE: No Capture Parameters Defined."));
    EXPECT_EQ(words_of(params), Words(33));
}

/* Two devices in turn: rows of the other one are looked at, but neither taken nor counted. */
class CaptureModesOfTwoDevices : public HarnessTest {
  protected:
    void expect_row(const char *device, const char *mode, size_t row, size_t looked_to)
    {
        const char *const names[] = {"A", "B", "A", "B"};
        const orka_capture_params_t table[] = {row_of(0, "A"), row_of(1, "B"), row_of(2, "A"),
                                               row_of(3, "B")};
        const orka_display_request_t request = {device, mode, 0, 0};
        std::string output;
        for (size_t i = device[0] == 'A' ? 0 : 1; i <= looked_to; i++)
            output += looked_at(i, names[i]);
        orka_capture_params_t params;
        EXPECT_EQ(find_capture_params(&params, &request, table), ORKA_STATUS_SUCCESS);
        EXPECT_EQ(words_of(params), words_of(table[row])) << device << " " << mode;
        EXPECT_EQ(log.take_output(), output);
    }
};

TEST_F(CaptureModesOfTwoDevices, BelongToTheirDevice)
{
    expect_row("A", "480i_frame", 2, 2);
    expect_row("B", "576i", 1, 1);
    expect_row("B", "576i_frame", 3, 3);
    expect_row("A", "576i", 0, 3);
    expect_row("B", "480i", 1, 3);
}

TEST_F(CaptureModesOfTwoDevices, AreNumberedForEach)
{
    expect_row("A", "0", 0, 0);
    expect_row("A", "1", 2, 2);
    expect_row("A", "2", 0, 3);
    expect_row("B", "0", 1, 1);
    expect_row("B", "1", 3, 3);
    expect_row("B", "2", 1, 3);
}

/* What a search must come to. */
struct Found {
    size_t row;
    std::string output;
};

bool matches(const std::string &table_mode, const std::string &wanted)
{
    return strcasecmp(table_mode.c_str(), wanted.c_str()) == 0 ||
           strcasecmp(table_mode.substr(0, table_mode.find('_')).c_str(), wanted.c_str()) == 0;
}

Found model_of_search(const std::string &device, const std::string &mode)
{
    if (!device.empty() && strcasecmp(device.c_str(), "TVP5150") != 0)
        return {0, defaults_line};
    std::string output;
    for (size_t i = 0; !mode.empty() && i < std::size(modes); i++) {
        output += looked_at(i);
        if (matches(modes[i].mode, mode) || mode == std::to_string(i))
            return {i, output};
    }
    return {0, output + (device.empty() && !mode.empty() ? defaults_line : "")};
}

constexpr const char *devices[] = {nullptr, "", "TVP5150", "tvp5150", "TVP5150A", "TVP515", "INTERNAL"};
constexpr const char *mode_names[] = {
    nullptr,       "",    "480i", "480I", "576i", "576i_field", "480i_FRAME", "576i_frame", "480", "480i_",
    "480i_fieldx", "VGA", "x",    "_",    "0",    "1",          "2",          "3",          "4",   "5",
    "6",           "7",   "8",    "9",    "00",   "10",         "/",          ":",          "-1"};
constexpr uint32_t sizes[] = {0, 1, 240, 288, 320, 480, 576, 640, 720, 721, 65536, 0x80000000, 0xFFFFFFFF};

/* Every size, of one pair of names: what was wrong, and the output that it must have made. */
struct Sweep {
    std::string wrong;
    std::string output;
};

Sweep sweep(const char *device, const char *mode)
{
    const Found found = model_of_search(device ? device : "", mode ? mode : "");
    Sweep result;
    for (uint32_t width : sizes) {
        for (uint32_t height : sizes) {
            const orka_display_request_t request = {device, mode, width, height};
            orka_capture_params_t params;
            orka_icapture_get_capture_params(&params, &request);
            orka_capture_params_t expected = row_of(found.row);
            expected.req_width = width;
            expected.req_height = height;
            if (words_of(params) != words_of(expected))
                result.wrong += std::to_string(width) + "x" + std::to_string(height) + " ";
            result.output += found.output;
        }
    }
    return result;
}

TEST_F(CaptureModes, OfEveryPairOfNamesAndEverySizeAreFoundAsByTheModel)
{
    for (const char *device : devices) {
        for (const char *mode : mode_names) {
            const Sweep swept = sweep(device, mode);
            EXPECT_EQ(swept.wrong, "") << (device ? device : "null") << " " << (mode ? mode : "null");
            EXPECT_TRUE(log.take_output() == swept.output)
                << (device ? device : "null") << " " << (mode ? mode : "null");
        }
    }
}

TEST(CapturePassthru, HasAName)
{
    EXPECT_STREQ(orka_icapture_passthru_string(0), "None");
    EXPECT_STREQ(orka_icapture_passthru_string(1), "Encoded");
    EXPECT_STREQ(orka_icapture_passthru_string(2), "Captured");
}

TEST(CapturePassthru, ThatIsNoneIsUnknown)
{
    for (int mode : {3, -1, INT32_MAX, INT32_MIN})
        EXPECT_STREQ(orka_icapture_passthru_string(mode), "Unknown");
}

} // namespace

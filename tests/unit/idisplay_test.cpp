/* The display's modes: their list, the search, and the fitting of pictures, held against a model of it. */
#include "orka_idisplay.h"

#include <cstdio>
#include <cstring>
#include <gtest/gtest.h>
#include <iterator>
#include <string>
#include <strings.h>
#include <vector>

#include "common/orka_idisplay_internal.h"
#include "support/harness.h"
#include "support/words.h"

using namespace orka_test;

namespace {

constexpr const char *search = "find_display_params";
const std::string pal_line = "WARNING:ORKA_IDISPLAY: resizing for PAL mode.\n";

struct Mode {
    const char *device;
    const char *mode;
    uint16_t width;
    uint16_t height;
    uint32_t interlaced;
    uint32_t pe_width;
    uint32_t pe_height;
};

/* As the manual of the modes has them. */
const Mode modes[] = {
    {"INTERNAL", "480i", 720, 480, 1, 640, 480},
    {"INTERNAL", "576i", 720, 576, 1, 640, 576},
    {"LCD", "VGA", 640, 480, 0, 640, 480},
    {"LCD", "QVGA", 320, 240, 0, 320, 240},
};

/* The row of the table, not resolved. */
orka_display_params_t row_of(size_t index)
{
    const Mode &mode = modes[index];
    orka_display_params_t row = {};
    strcpy(row.device, mode.device);
    strcpy(row.mode, mode.mode);
    row.width = mode.width;
    row.height = mode.height;
    row.interlaced = mode.interlaced;
    const uint32_t driver_words[] = {0, 1, 1, 8, 8};
    memcpy(row.words, driver_words, sizeof driver_words);
    row.resize = -1;
    row.pe_width = mode.pe_width;
    row.pe_height = mode.pe_height;
    return row;
}

std::string looked_at(size_t index)
{
    return warning_line(search, std::string("ORKA_IDISPLAY: Device name [") + modes[index].device +
                                    "] Mode [" + modes[index].mode + "].");
}

const std::string defaults_line =
    warning_line(search, "ORKA_IDISPLAY: Finding Requested Display Mode. Using Defaults.");

/* What a search must come to. */
struct Found {
    size_t row;
    std::string output;
};

bool is_given(const char *name)
{
    return name && name[0];
}

Found model_of_device(const char *device, const char *mode)
{
    Found found = {0, ""};
    while (found.row < std::size(modes) && strcasecmp(modes[found.row].device, device) != 0)
        found.row++;
    if (found.row == std::size(modes))
        return {0, defaults_line};
    for (size_t i = found.row + 1; is_given(mode) && i < std::size(modes); i++) {
        found.output += looked_at(i);
        if (strcasecmp(modes[i].device, device) == 0 && strcasecmp(modes[i].mode, mode) == 0)
            return {i, found.output};
    }
    return found;
}

Found model_of_search(const char *device, const char *mode)
{
    if (is_given(device))
        return model_of_device(device, mode);
    if (!is_given(mode))
        return {0, ""};
    for (size_t i = 0; i < std::size(modes); i++) {
        if (strcasecmp(modes[i].mode, mode) == 0)
            return {i, ""};
    }
    return {0, defaults_line};
}

struct Size {
    uint32_t width;
    uint32_t height;
};

/* Kept in memory, so that every processor rounds it to a double. */
double quotient(uint32_t part, uint32_t whole)
{
    volatile double result = static_cast<double>(part) / static_cast<double>(whole);
    return result;
}

Size aligned(Size size)
{
    return {size.width - size.width % 32, size.height - size.height % 16};
}

/* A picture that is not shown as it is, in an area: every case on its own. */
Size model_of_scaling(Size source, Size area)
{
    const auto [w, h] = source;
    const auto [W, H] = area;
    const Size by_width = {W, W * h / w};
    if (w > W && h > H) {
        if (quotient(w - W, W) >= quotient(h - H, H))
            return aligned(by_width);
        return aligned({H * w / h, H});
    }
    if (w > W)
        return aligned(by_width);
    if (h > H) {
        uint32_t width = H * w / h;
        if (width % 16 != 0)
            width = width < W ? width + width % 16 : width - width % 16;
        return aligned({width, H});
    }
    if (w < W && h < H) {
        if (quotient(W - w, W) <= quotient(H - h, H))
            return aligned(by_width);
        return aligned({H * w / h, H});
    }
    return area;
}

/* Resolves a row for a picture. */
void resolve(orka_display_params_t &row, Size source, bool pal)
{
    const Size area = {row.pe_width, row.pe_height};
    row.src_width = source.width ? source.width : row.width;
    row.src_height = source.height ? source.height : row.height;
    row.resize = 0;
    if (source.width == 0 || source.height == 0)
        return;
    if (pal) {
        source.height = source.height * 6 / 5;
        row.resize = 1;
    }
    Size fitted = source;
    if (!(source.width == area.width && source.height <= area.height) &&
        !(source.height == area.height && source.width <= area.width)) {
        fitted = model_of_scaling(source, area);
        row.resize = 1;
    }
    row.pe_width = fitted.width;
    row.pe_height = fitted.height;
}

class DisplayModes : public HarnessTest {
  protected:
    orka_display_params_t resolved(const char *device, const char *mode, uint32_t width, uint32_t height)
    {
        const orka_display_request_t request = {device, mode, width, height};
        orka_display_params_t params;
        memset(&params, 0xAA, sizeof params);
        EXPECT_EQ(orka_idisplay_get_display_params(&params, &request), ORKA_STATUS_SUCCESS);
        return params;
    }

    void expect_row(const char *device, const char *mode, size_t row, const std::string &output)
    {
        orka_display_params_t expected = row_of(row);
        resolve(expected, {0, 0}, false);
        EXPECT_EQ(words_of(resolved(device, mode, 0, 0)), words_of(expected))
            << (device ? device : "null") << " " << (mode ? mode : "null");
        EXPECT_EQ(log.take_output(), output);
    }

    void expect_fit(const orka_display_params_t &params, uint32_t width, uint32_t height, int32_t resize)
    {
        EXPECT_EQ(params.pe_width, width);
        EXPECT_EQ(params.pe_height, height);
        EXPECT_EQ(params.resize, resize);
    }
};

TEST_F(DisplayModes, ArePrintedWithTheCallersTexts)
{
    orka_idisplay_print_modes(stdout, "<", "; ", ">\n");
    EXPECT_EQ(log.take_output(), "<INTERNAL 480i (720x480) Interlaced; INTERNAL 576i (720x576) Interlaced; "
                                 "LCD VGA (640x480) Progressive; LCD QVGA (320x240) Progressive>\n");
}

TEST_F(DisplayModes, ArePrintedToTheStreamAskedForWithoutTextsThatAreNull)
{
    orka_idisplay_print_modes(stderr, nullptr, nullptr, nullptr);
    EXPECT_EQ(log.take_error(), "INTERNAL 480i (720x480) InterlacedINTERNAL 576i (720x576) Interlaced"
                                "LCD VGA (640x480) ProgressiveLCD QVGA (320x240) Progressive");
}

TEST_F(DisplayModes, ArePrintedWithTextsThatAreNoFormats)
{
    orka_idisplay_print_modes(stdout, "%s", "%d", "%n");
    EXPECT_EQ(log.take_output(), "%sINTERNAL 480i (720x480) Interlaced%dINTERNAL 576i (720x576) Interlaced%d"
                                 "LCD VGA (640x480) Progressive%dLCD QVGA (320x240) Progressive%n");
}

TEST_F(DisplayModes, OfADeviceAndModeAreFoundAfterTheDevicesFirstRow)
{
    expect_row("INTERNAL", "576i", 1, looked_at(1));
    expect_row("LCD", "QVGA", 3, looked_at(3));
    expect_row("lcd", "qvga", 3, looked_at(3));
}

TEST_F(DisplayModes, OfADevicesFirstRowAreFoundByTheDeviceAlone)
{
    expect_row("INTERNAL", "480i", 0, looked_at(1) + looked_at(2) + looked_at(3));
    expect_row("LCD", "VGA", 2, looked_at(3));
}

TEST_F(DisplayModes, ThatADeviceDoesNotHaveGiveItsFirstRow)
{
    expect_row("LCD", "480i", 2, looked_at(3));
    expect_row("INTERNAL", "VGA", 0, looked_at(1) + looked_at(2) + looked_at(3));
    expect_row("INTERNAL", "1", 0, looked_at(1) + looked_at(2) + looked_at(3));
}

TEST_F(DisplayModes, OfADeviceAloneAreItsFirst)
{
    expect_row("LCD", nullptr, 2, "");
    expect_row("Internal", "", 0, "");
}

TEST_F(DisplayModes, OfAnUnknownDeviceAreTheDefault)
{
    expect_row("HDMI", "VGA", 0, defaults_line);
    expect_row("HDMI", nullptr, 0, defaults_line);
    expect_row("LC", nullptr, 0, defaults_line);
}

TEST_F(DisplayModes, OfAModeAloneAreFoundSilently)
{
    expect_row(nullptr, "vga", 2, "");
    expect_row("", "576I", 1, "");
}

TEST_F(DisplayModes, OfAnUnknownModeAreTheDefault)
{
    expect_row(nullptr, "1080p", 0, defaults_line);
    expect_row(nullptr, "2", 0, defaults_line);
    expect_row(nullptr, "480", 0, defaults_line);
}

TEST_F(DisplayModes, OfNoNamesAreTheDefaultSilently)
{
    expect_row(nullptr, nullptr, 0, "");
    expect_row("", "", 0, "");
}

TEST_F(DisplayModes, OfNoRequestAreTheDefaultSilently)
{
    orka_display_params_t params;
    orka_display_params_t expected = row_of(0);
    resolve(expected, {0, 0}, false);
    memset(&params, 0xAA, sizeof params);
    EXPECT_EQ(orka_idisplay_get_display_params(&params, nullptr), ORKA_STATUS_SUCCESS);
    EXPECT_EQ(words_of(params), words_of(expected));
    EXPECT_EQ(params.src_width, 720u);
    EXPECT_EQ(params.src_height, 480u);
}

TEST_F(DisplayModes, NeedAPlaceToGo)
{
    const orka_display_request_t request = {"LCD", "VGA", 0, 0};
    EXPECT_EQ(orka_idisplay_get_display_params(nullptr, &request), ORKA_STATUS_NULL_POINTER);
    EXPECT_EQ(log.take_error(),
              error_line("orka_idisplay_get_display_params", "ORKA_IDISPLAY: NULL Pointer Deref."));
}

TEST_F(DisplayModes, AreNotSearchedWithoutAPlaceToGo)
{
    const orka_display_params_t table[] = {row_of(0)};
    EXPECT_EQ(find_display_params(nullptr, nullptr, table), ORKA_STATUS_NULL_POINTER);
    EXPECT_EQ(log.take_error(), error_line(search, "ORKA_IDISPLAY: NULL Pointer Deref."));
}

TEST_F(DisplayModes, OfAnEmptyTableAreNone)
{
    orka_display_params_t params = row_of(1);
    EXPECT_EQ(find_display_params(&params, nullptr, {}), ORKA_STATUS_ERROR);
    EXPECT_EQ(log.take_error(), error_line(search, "ORKA_IDISPLAY: No Display Parameters Defined."));
    EXPECT_EQ(words_of(params), Words(31));
}

TEST_F(DisplayModes, AreSearchedWithoutBeingResolved)
{
    const orka_display_params_t table[] = {row_of(2), row_of(3)};
    const orka_display_request_t request = {nullptr, "QVGA", 100, 100};
    orka_display_params_t params;
    EXPECT_EQ(find_display_params(&params, &request, table), ORKA_STATUS_SUCCESS);
    EXPECT_EQ(words_of(params), words_of(row_of(3)));
}

TEST_F(DisplayModes, FillThePicturesSizeWhereItIsNotGiven)
{
    orka_display_params_t params = resolved("LCD", nullptr, 0, 100);
    EXPECT_EQ(params.src_width, 640u);
    EXPECT_EQ(params.src_height, 100u);
    expect_fit(params, 640, 480, 0);
    params = resolved("LCD", nullptr, 100, 0);
    EXPECT_EQ(params.src_width, 100u);
    EXPECT_EQ(params.src_height, 480u);
    expect_fit(params, 640, 480, 0);
}

TEST_F(DisplayModes, ShowAPictureOfTheAreasWidthAsItIs)
{
    expect_fit(resolved("INTERNAL", nullptr, 640, 400), 640, 400, 0);
    expect_fit(resolved("INTERNAL", nullptr, 640, 1), 640, 1, 0);
    expect_fit(resolved("INTERNAL", nullptr, 640, 480), 640, 480, 0);
}

TEST_F(DisplayModes, ShowAPictureOfTheAreasHeightAsItIs)
{
    expect_fit(resolved("INTERNAL", nullptr, 333, 480), 333, 480, 0);
}

TEST_F(DisplayModes, ScaleALargePictureDown)
{
    expect_fit(resolved("LCD", nullptr, 1920, 1080), 640, 352, 1);
    expect_fit(resolved("LCD", nullptr, 1080, 1920), 256, 480, 1);
    expect_fit(resolved("LCD", nullptr, 1280, 960), 640, 480, 1);
}

TEST_F(DisplayModes, ScaleAWidePictureDown)
{
    expect_fit(resolved("LCD", nullptr, 720, 480), 640, 416, 1);
    expect_fit(resolved("LCD", nullptr, 720, 240), 640, 208, 1);
}

TEST_F(DisplayModes, ScaleAHighPictureDownAndAddTheRemainderOfItsWidth)
{
    /* 480 * 500 / 600 = 400 is a multiple of 16; 480 * 510 / 600 = 408 has 8 above one. */
    expect_fit(resolved("LCD", nullptr, 500, 600), 384, 480, 1);
    expect_fit(resolved("LCD", nullptr, 510, 600), 416, 480, 1);
    /* 480 * 639 / 481 = 637 has 13, and 650 lies above the area. */
    expect_fit(resolved("LCD", nullptr, 639, 481), 640, 480, 1);
}

TEST_F(DisplayModes, ScaleASmallPictureUp)
{
    expect_fit(resolved("LCD", nullptr, 320, 240), 640, 480, 1);
    expect_fit(resolved("LCD", nullptr, 176, 144), 576, 480, 1);
    expect_fit(resolved("LCD", nullptr, 320, 200), 640, 400, 1);
}

TEST_F(DisplayModes, WrapWhatIsTooLargeForThirtyTwoBits)
{
    /* 640 * 6710887 is 384 beyond 2^32. */
    expect_fit(resolved("LCD", nullptr, 0xFFFFFFFF, 6710887), 640, 0, 1);
    EXPECT_EQ(resolved("LCD", nullptr, 641, 0xFFFFFFFF).pe_width, 0u);
}

TEST_F(DisplayModes, ScaleAPictureOfTheAreasShapeByItsWidth)
{
    /* Only a product that wraps tells: 640 * 9600000 - 2^32 = 1849032704, 144 times 12800000. */
    expect_fit(resolved("LCD", nullptr, 12800000, 9600000), 640, 144, 1);
}

TEST_F(DisplayModes, CountTheLinesOfPalAnew)
{
    orka_display_params_t params = resolved("INTERNAL", "576i", 720, 480);
    expect_fit(params, 640, 512, 1);
    EXPECT_EQ(params.src_width, 720u);
    EXPECT_EQ(params.src_height, 480u);
    EXPECT_EQ(log.take_output(), looked_at(1) + pal_line);
}

TEST_F(DisplayModes, CountAsScaledInPalThoughThePictureFits)
{
    expect_fit(resolved("INTERNAL", "576i", 640, 480), 640, 576, 1);
    EXPECT_EQ(log.take_output(), looked_at(1) + pal_line);
}

TEST_F(DisplayModes, KnowPalByItsExactNameAlone)
{
    expect_fit(resolved("INTERNAL", "576I", 640, 480), 640, 480, 0);
    EXPECT_EQ(log.take_output(), looked_at(1));
    expect_fit(resolved("LCD", "576i", 640, 400), 640, 480, 1);
    EXPECT_EQ(log.take_output(), looked_at(3) + pal_line);
}

TEST_F(DisplayModes, DoNotCountLinesOfPalWithoutAPicture)
{
    expect_fit(resolved("INTERNAL", "576i", 720, 0), 640, 576, 0);
    expect_fit(resolved("INTERNAL", "576i", 0, 480), 640, 576, 0);
    EXPECT_EQ(log.take_output(), looked_at(1) + looked_at(1));
}

constexpr const char *devices[] = {nullptr, "", "INTERNAL", "internal", "LCD", "LCDX", "HDMI"};
constexpr const char *mode_names[] = {nullptr, "",     "480i", "576i", "576I", "VGA",
                                      "vga",   "QVGA", "qvga", "VG",   "3",    "480i_field"};
constexpr uint32_t sizes[] = {0,    1,       15,      16,       33,        100,       176,        239,
                              240,  241,     319,     320,      321,       400,       479,        480,
                              481,  575,     576,     577,      640,       641,       720,        1080,
                              1920, 6710887, 9600000, 12800000, 715827883, 894784854, 0x80000001, 0xFFFFFFFF};

/* Every size, of one pair of names: what was wrong, and the output that it must have made. */
struct Sweep {
    std::string wrong;
    std::string output;
};

Sweep sweep(const char *device, const char *mode)
{
    const Found found = model_of_search(device, mode);
    const bool pal = mode && strcmp(mode, "576i") == 0;
    Sweep result;
    for (uint32_t width : sizes) {
        for (uint32_t height : sizes) {
            const orka_display_request_t request = {device, mode, width, height};
            orka_display_params_t params;
            orka_idisplay_get_display_params(&params, &request);
            orka_display_params_t expected = row_of(found.row);
            resolve(expected, {width, height}, pal);
            if (words_of(params) != words_of(expected))
                result.wrong += std::to_string(width) + "x" + std::to_string(height) + " ";
            result.output += found.output + (pal && width && height ? pal_line : "");
        }
    }
    return result;
}

TEST_F(DisplayModes, ResolveEveryPairOfNamesAndEverySizeAsTheModelDoes)
{
    for (const char *device : devices) {
        for (const char *mode : mode_names) {
            const Sweep swept = sweep(device, mode);
            EXPECT_EQ(swept.wrong, "") << (device ? device : "null") << " " << (mode ? mode : "null");
            EXPECT_TRUE(log.take_output() == swept.output);
        }
    }
}

/* How many pictures up to 800 by 700, every third height, a mode fits otherwise than the model. */
int count_misfits(const char *device, const char *mode, size_t row)
{
    int misfits = 0;
    for (uint32_t width = 1; width <= 800; width++) {
        for (uint32_t height = 3; height <= 700; height += 3) {
            const orka_display_request_t request = {device, mode, width, height};
            orka_display_params_t params;
            orka_idisplay_get_display_params(&params, &request);
            orka_display_params_t expected = row_of(row);
            resolve(expected, {width, height}, false);
            misfits += memcmp(&params, &expected, sizeof params) != 0;
        }
    }
    return misfits;
}

TEST_F(DisplayModes, FitPicturesOfUsualSizesAsTheModelDoes)
{
    EXPECT_EQ(count_misfits("INTERNAL", nullptr, 0), 0);
    EXPECT_EQ(count_misfits(nullptr, "576I", 1), 0);
    EXPECT_EQ(count_misfits("LCD", nullptr, 2), 0);
    EXPECT_EQ(count_misfits(nullptr, "QVGA", 3), 0);
}

} // namespace

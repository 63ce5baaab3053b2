/* The display's requests, its ring of outputs, and its frame buffers. */
#include "driver/control.h"

#include <cstdio>
#include <gtest/gtest.h>
#include <sys/mman.h>

#include "orka_idisplay.h"

using namespace orka_test;

namespace {

constexpr const char *node = "/dev/idecode";
constexpr Device display = {node, nullptr, "orka_idevice_idecode_fd",
                            "ORKA_IDEVICE: Opening IDECODE Device '/dev/idecode'."};
constexpr char no_node_message[] = "ORKA_IDISPLAY: Obtaining IDecode FD.";
constexpr char channel_message[] = "ORKA_IDISPLAY: iDispaly getting channel dimension.";

constexpr uint32_t set_output_request = 0x807C6833;
constexpr uint32_t get_output_request = 0x407C683B;
constexpr uint32_t base_request = 0x4004683C;
constexpr uint32_t size_request = 0x4004683D;
constexpr uint32_t buffer_request = 0xC008683E;
constexpr uint32_t dimension_request = 0xC00C683F;

/* Parameters as they go over the wire. */
Bytes params_bytes(const char *device, const char *mode, uint16_t width, uint16_t height, uint32_t interlaced,
                   int32_t resize, Bytes picture)
{
    const Bytes size = words({height << 16 | width, interlaced << 16});
    return words({0}) + text(device, 33) + text(mode, 33) + Bytes(size.begin(), size.begin() + 6) +
           words({interlaced, 0, 1, 1, 8, 8, resize}) + picture;
}

Bytes row_480i(int32_t resize = -1, Bytes picture = words({640, 480, 0, 0, 0}))
{
    return params_bytes("INTERNAL", "480i", 720, 480, 1, resize, picture);
}

Bytes row_576i()
{
    return params_bytes("INTERNAL", "576i", 720, 576, 1, -1, words({640, 576, 0, 0, 0}));
}

Bytes row_vga(int32_t resize = -1, Bytes picture = words({640, 480, 0, 0, 0}))
{
    return params_bytes("LCD", "VGA", 640, 480, 0, resize, picture);
}

Bytes row_qvga()
{
    return params_bytes("LCD", "QVGA", 320, 240, 0, -1, words({320, 240, 0, 0, 0}));
}

uint32_t dimension[2];

using Params = orka_display_params_t;

const Operation operations[] = {
    {"orka_idisplay_setup", display, 0x807C6832, counted_bytes<Params>(),
     [] { return orka_idisplay_setup(counted<Params>()); }, "ORKA_IDISPLAY: Setting Up Video Display.",
     no_node_message},
    {"orka_idisplay_set_output", display, set_output_request, counted_bytes<Params>(),
     [] { return orka_idisplay_set_output(counted<Params>()); }, "ORKA_IDISPLAY: Select video output.",
     no_node_message},
    {"orka_idisplay_get_output", display, get_output_request, counted_bytes<Params>(),
     [] { return orka_idisplay_get_output(counted<Params>()); }, "ORKA_IDISPLAY: Select video output.",
     no_node_message},
    {"orka_idisplay_set_enable", display, 0x6834, zeros(0), orka_idisplay_enable,
     "ORKA_IDISPLAY: Enabling Display.", no_node_message, ORKA_STATUS_ERROR, 1, "orka_idisplay_enable"},
    {"orka_idisplay_set_enable", display, 0x6834, zeros(0), orka_idisplay_disable,
     "ORKA_IDISPLAY: Disabling Display.", no_node_message, ORKA_STATUS_ERROR, 0, "orka_idisplay_disable"},
    {"orka_idisplay_set_enable", display, 0x6834, zeros(0),
     [] { return orka_idisplay_set_enable(0x7654321); }, "ORKA_IDISPLAY: Enabling Display.", no_node_message,
     ORKA_STATUS_ERROR, 0x7654321},
    {"orka_idisplay_teardown", display, 0x6835, zeros(0), orka_idisplay_teardown,
     "ORKA_IDISPLAY: Tearing Down Video Display.", no_node_message},
    {"orka_idisplay_resync", display, 0x6838, zeros(0), orka_idisplay_resync,
     "ORKA_IDISPLAY: Resyncing Display.", no_node_message},
    {"orka_idisplay_mask", display, 0x6839, zeros(0), orka_idisplay_mask, "ORKA_IDISPLAY: Masking Display.",
     no_node_message},
    {"orka_idisplay_unmask", display, 0x683A, zeros(0), orka_idisplay_unmask,
     "ORKA_IDISPLAY: UnMasking Display.", no_node_message},
    {"orka_idisplay_set_osd_zoom", display, 0x80086837, words({2, 0x80000003}),
     [] { return orka_idisplay_set_osd_zoom(2, 0x80000003); }, "ORKA_IDISPLAY: Setting OSD Zoom.",
     no_node_message},
    {"orka_idisplay_set_resize", display, 0x80186424, text("ABCDEFGH", 8) + text("abcdefgh", 8) + zeros(8),
     [] { return orka_idisplay_set_resize("ABCDEFGHI", "abcdefghi"); },
     "ORKA_IDISPLAY: Video decode set resize.", no_node_message},
    {"orka_idisplay_get_frame_dimension", display, dimension_request, words({0x80000001, 0, 0}),
     [] { return orka_idisplay_get_frame_dimension(0x80000001, &dimension[0], &dimension[1]); },
     channel_message, no_node_message, ORKA_STATUS_IO},
    {"orka_idisplay_release_frame_buffer", display, 0x80046840, words({0x81234567}),
     [] { return orka_idisplay_release_frame_buffer(0x81234567); }, channel_message, no_node_message,
     ORKA_STATUS_IO},
};

class DisplayControl : public ControlTest {};

TEST_P(DisplayControl, SendsExactlyItsRecord)
{
    expect_sent();
}

TEST_P(DisplayControl, IsDoneWhenTheDriverAnswersAboveZero)
{
    expect_done(1);
}

TEST_P(DisplayControl, FailsWhenTheDriverRefuses)
{
    for (const int answer : {-1, -7})
        expect_refused(answer);
}

TEST_P(DisplayControl, IsAnInputOutputFailureWithoutItsNode)
{
    expect_no_node();
}

INSTANTIATE_TEST_SUITE_P(Operations, DisplayControl, testing::ValuesIn(operations),
                         [](const auto &info) { return std::string(info.param.name); });

class Display : public DriverTest {
  protected:
    void SetUp() override { kernel.node(node); }

    void expect_null_pointer(orka_status_t status, const char *function)
    {
        EXPECT_EQ(status, ORKA_STATUS_NULL_POINTER);
        EXPECT_EQ(log.take_error(), error_line(function, "ORKA_IDISPLAY: NULL Pointer Deref."));
        EXPECT_TRUE(kernel.calls(Fn::ioctl).empty());
    }

    std::vector<uint32_t> requests()
    {
        std::vector<uint32_t> numbers;
        for (const Call &call : kernel.calls(Fn::ioctl))
            numbers.push_back(call.request);
        return numbers;
    }
};

TEST_F(Display, IsNotSetUpWithNull)
{
    expect_null_pointer(orka_idisplay_setup(nullptr), "orka_idisplay_setup");
}

TEST_F(Display, IsNotResizedWithNull)
{
    expect_null_pointer(orka_idisplay_set_resize(nullptr, "abcdefgh"), "orka_idisplay_set_resize");
    expect_null_pointer(orka_idisplay_set_resize("abcdefgh", nullptr), "orka_idisplay_set_resize");
}

TEST_F(Display, LooksForItsNodeBeforeItLooksAtPointers)
{
    kernel.missing(node, ENODEV);
    EXPECT_EQ(orka_idisplay_setup(nullptr), ORKA_STATUS_IO);
    EXPECT_EQ(orka_idisplay_set_resize(nullptr, nullptr), ORKA_STATUS_IO);
    EXPECT_EQ(log.take_error(),
              display.missing_line(ENODEV) + error_line("orka_idisplay_setup", no_node_message) +
                  display.missing_line(ENODEV) + error_line("orka_idisplay_set_resize", no_node_message));
}

TEST_F(Display, HandsTheOutputsRecordsToTheDriverInPlace)
{
    kernel.accept(node, set_output_request, 124);
    EXPECT_EQ(orka_idisplay_set_output(counted<Params>()), ORKA_STATUS_SUCCESS);
    EXPECT_EQ(only_request().argument, counted<Params>());
}

TEST_F(Display, HasTheOutputThatTheDriverTells)
{
    kernel.on(node, get_output_request, 124, [](void *record) {
        set_word(record, 104, 123);
        return 0;
    });
    orka_display_params_t params = {};
    EXPECT_EQ(orka_idisplay_get_output(&params), ORKA_STATUS_SUCCESS);
    EXPECT_EQ(params.pe_width, 123u);
}

TEST_F(Display, HasTheDimensionThatTheDriverTells)
{
    kernel.on(node, dimension_request, 12, [](void *record) {
        set_word(record, 4, 720);
        set_word(record, 8, 576);
        return 0;
    });
    uint32_t width = 0;
    uint32_t height = 0;
    EXPECT_EQ(orka_idisplay_get_frame_dimension(3, &width, &height), ORKA_STATUS_SUCCESS);
    EXPECT_EQ(width, 720u);
    EXPECT_EQ(height, 576u);
}

TEST_F(Display, HasNoDimensionWhenTheDriverRefuses)
{
    kernel.on(node, dimension_request, 12, [](void *record) {
        set_word(record, 4, 720);
        set_word(record, 8, 576);
        errno = EINVAL;
        return -1;
    });
    uint32_t width = 1;
    uint32_t height = 2;
    EXPECT_EQ(orka_idisplay_get_frame_dimension(3, &width, &height), ORKA_STATUS_IO);
    EXPECT_EQ(log.take_error(), error_line("orka_idisplay_get_frame_dimension", channel_message, EINVAL));
    EXPECT_EQ(width, 1u);
    EXPECT_EQ(height, 2u);
}

/* The LCD */

TEST_F(Display, SelectsTheLcd)
{
    kernel.accept(node, set_output_request, 124);
    EXPECT_EQ(orka_idisplay_lcd_enable(), ORKA_STATUS_SUCCESS);
    EXPECT_EQ(orka_idisplay_lcd_set_enable(-2), ORKA_STATUS_SUCCESS);
    for (const Call &call : kernel.calls(Fn::ioctl))
        EXPECT_EQ(call.sent(), row_vga(0, words({640, 480, 0, 640, 480})));
    EXPECT_EQ(kernel.calls(Fn::ioctl).size(), 2u);
}

TEST_F(Display, SelectsTheDefaultInsteadOfTheLcd)
{
    kernel.accept(node, set_output_request, 124);
    EXPECT_EQ(orka_idisplay_lcd_disable(), ORKA_STATUS_SUCCESS);
    EXPECT_EQ(only_request().sent(), row_480i(0, words({640, 480, 0, 720, 480})));
}

TEST_F(Display, SaysOnceMoreThatTheLcdWasRefused)
{
    kernel.refuse(node, set_output_request, 124, EBUSY);
    EXPECT_EQ(orka_idisplay_lcd_enable(), ORKA_STATUS_ERROR);
    EXPECT_EQ(log.take_error(),
              error_line("orka_idisplay_set_output", "ORKA_IDISPLAY: Select video output.", EBUSY) +
                  error_line("orka_idisplay_lcd_set_enable", "ORKA_IDISPLAY: Setting Video Output."));
}

TEST_F(Display, HasNoLcdWithoutItsNode)
{
    kernel.missing(node, ENODEV);
    EXPECT_EQ(orka_idisplay_lcd_disable(), ORKA_STATUS_IO);
    EXPECT_EQ(log.take_error(),
              display.missing_line(ENODEV) + error_line("orka_idisplay_set_output", no_node_message) +
                  error_line("orka_idisplay_lcd_set_enable", "ORKA_IDISPLAY: Setting Video Output."));
}

/* The ring of outputs */

const orka_display_request_t by_480i = {nullptr, "480i", 100, 100};
const orka_display_request_t by_576i = {nullptr, "576i", 0, 0};
const orka_display_request_t by_vga = {nullptr, "VGA", 0, 0};
const orka_display_request_t by_qvga = {nullptr, "QVGA", 0, 0};
const std::string toggle_refused = "ORKA_IDISPLAY: Get video output.";

class DisplayRing : public Display {
  protected:
    void SetUp() override
    {
        Display::SetUp();
        kernel.accept(node, set_output_request, 124);
        show("none of them");
    }

    void fill(const std::vector<orka_display_request_t> &requests)
    {
        EXPECT_EQ(orka_idisplay_toggle_init(requests.data(), static_cast<int>(requests.size())),
                  ORKA_STATUS_SUCCESS);
    }

    /* The output that the driver tells of. */
    void show(const std::string &mode, const std::string &device = "")
    {
        kernel.on(node, get_output_request, 124, [=](void *record) {
            auto *params = static_cast<orka_display_params_t *>(record);
            snprintf(params->device, sizeof params->device, "%s", device.c_str());
            snprintf(params->mode, sizeof params->mode, "%s", mode.c_str());
            return 0;
        });
    }

    Bytes toggled()
    {
        kernel.forget_calls();
        EXPECT_EQ(orka_idisplay_toggle_output(), ORKA_STATUS_SUCCESS);
        EXPECT_EQ(requests(), (std::vector<uint32_t>{get_output_request, set_output_request}));
        return kernel.calls(Fn::ioctl).back().sent();
    }

    void expect_not_initialized()
    {
        EXPECT_EQ(orka_idisplay_toggle_output(), ORKA_STATUS_ERROR);
        EXPECT_EQ(log.take_error(), error_line("orka_idisplay_toggle_output",
                                               "ORKA_IDISPLAY: Video output toggle not initialized.."));
        EXPECT_TRUE(kernel.calls({Fn::open, Fn::ioctl}).empty());
    }
};

TEST_F(DisplayRing, OfNothingIsNotInitialized)
{
    fill({by_vga});
    fill({});
    expect_not_initialized();
    EXPECT_EQ(orka_idisplay_toggle_init(&by_vga, -1), ORKA_STATUS_SUCCESS);
    expect_not_initialized();
}

TEST_F(DisplayRing, StepsToTheOutputAfterTheOneShown)
{
    fill({by_480i, by_576i, by_qvga});
    show("480i");
    EXPECT_EQ(toggled(), row_576i());
    show("576I", "whatever");
    EXPECT_EQ(toggled(), row_qvga());
    show("qvga");
    EXPECT_EQ(toggled(), row_480i());
}

TEST_F(DisplayRing, StepsOnFromTheLastSelectedWhereTheOneShownIsNoneOfIts)
{
    fill({by_480i, by_576i, by_qvga});
    EXPECT_EQ(toggled(), row_576i());
    EXPECT_EQ(toggled(), row_qvga());
    EXPECT_EQ(toggled(), row_480i());
    EXPECT_EQ(toggled(), row_576i());
}

TEST_F(DisplayRing, StepsFromTheFirstOfEqualModes)
{
    fill({by_vga, by_480i, by_vga, by_576i});
    show("VGA");
    EXPECT_EQ(toggled(), row_480i());
    EXPECT_EQ(toggled(), row_480i());
}

TEST_F(DisplayRing, OfOneStaysThere)
{
    fill({by_vga});
    EXPECT_EQ(toggled(), row_vga());
    show("VGA");
    EXPECT_EQ(toggled(), row_vga());
}

TEST_F(DisplayRing, BeginsAnewWhenItIsFilledAgain)
{
    fill({by_480i, by_576i, by_qvga});
    EXPECT_EQ(toggled(), row_576i());
    fill({by_qvga, by_vga, by_480i});
    EXPECT_EQ(toggled(), row_vga());
}

TEST_F(DisplayRing, TakesTheDefaultForModesThatAreNone)
{
    fill({{"LCD", "480i", 0, 0}, {nullptr, "1080p", 0, 0}});
    EXPECT_EQ(log.take_output(),
              warning_line("find_display_params", "ORKA_IDISPLAY: Device name [LCD] Mode [QVGA].") +
                  warning_line("find_display_params",
                               "ORKA_IDISPLAY: Finding Requested Display Mode. Using Defaults."));
    EXPECT_EQ(toggled(), row_480i());
    EXPECT_EQ(toggled(), row_vga());
}

TEST_F(DisplayRing, HoldsEight)
{
    fill({by_qvga, by_vga, by_vga, by_vga, by_vga, by_vga, by_vga, by_576i, by_480i, by_480i});
    EXPECT_EQ(log.take_error(), error_line("orka_idisplay_toggle_init",
                                           "ORKA_IDISPLAY: Max video output toggle array size met."));
    show("576i");
    EXPECT_EQ(toggled(), row_qvga());
    fill({by_qvga, by_vga, by_vga, by_vga, by_vga, by_vga, by_vga, by_576i});
}

TEST_F(DisplayRing, StaysWhereItIsWhenTheDriverDoesNotTellTheOutput)
{
    fill({by_480i, by_576i, by_qvga});
    kernel.refuse(node, get_output_request, 124, EIO);
    EXPECT_EQ(orka_idisplay_toggle_output(), ORKA_STATUS_ERROR);
    EXPECT_EQ(log.take_error(), error_line("orka_idisplay_toggle_output", toggle_refused, EIO));
    EXPECT_EQ(only_request().request, get_output_request);
    show("none of them");
    EXPECT_EQ(toggled(), row_576i());
}

TEST_F(DisplayRing, GoesOnThoughTheDriverRefusesTheNextOutput)
{
    fill({by_480i, by_576i, by_qvga});
    kernel.refuse(node, set_output_request, 124, EBUSY);
    EXPECT_EQ(orka_idisplay_toggle_output(), ORKA_STATUS_ERROR);
    EXPECT_EQ(log.take_error(), error_line("orka_idisplay_toggle_output", toggle_refused, EBUSY));
    kernel.accept(node, set_output_request, 124);
    EXPECT_EQ(toggled(), row_qvga());
}

TEST_F(DisplayRing, IsAnInputOutputFailureWithoutItsNode)
{
    fill({by_480i});
    kernel.missing(node, ENODEV);
    EXPECT_EQ(orka_idisplay_toggle_output(), ORKA_STATUS_IO);
    EXPECT_EQ(log.take_error(),
              display.missing_line(ENODEV) + error_line("orka_idisplay_toggle_output", no_node_message));
}

/* Frame buffers */

constexpr uint32_t physical = 0x01800000;
constexpr uint32_t length = 0x5000;

void answer_word(Kernel &kernel, uint32_t request, size_t size, size_t offset, uint32_t value)
{
    kernel.on(node, request, size, [=](void *record) {
        set_word(record, offset, value);
        return 0;
    });
}

class DisplayFrames : public Display {
  protected:
    void SetUp() override
    {
        Display::SetUp();
        kernel.node("/dev/mem");
        answer_word(kernel, base_request, 4, 0, physical);
        answer_word(kernel, size_request, 4, 0, length);
    }

    /* Maps the buffers, and tells where. */
    uintptr_t map()
    {
        EXPECT_EQ(orka_idisplay_imaging_setup(), ORKA_STATUS_SUCCESS);
        harness.allow_leaked_mappings(1);
        const uintptr_t base = kernel.calls(Fn::mmap).back().address;
        kernel.forget_calls();
        return base;
    }

    uintptr_t buffer_at(uint32_t paddr)
    {
        answer_word(kernel, buffer_request, 8, 4, paddr);
        return reinterpret_cast<uintptr_t>(orka_idisplay_get_frame_buffer(5));
    }

    void expect_out_of_range(uint32_t paddr, uintptr_t address)
    {
        char message[96];
        snprintf(message, sizeof message, "ORKA_IDISPLAY: Frame Buffer Address Out of Range - framebuf=%x.",
                 static_cast<unsigned>(address));
        EXPECT_EQ(buffer_at(paddr), 0u);
        EXPECT_EQ(log.take_error(), error_line("orka_idisplay_get_frame_buffer", message));
    }
};

TEST_F(DisplayFrames, AreMappedWhereTheDriverSays)
{
    EXPECT_EQ(orka_idisplay_imaging_setup(), ORKA_STATUS_SUCCESS);
    EXPECT_EQ(requests(), (std::vector<uint32_t>{base_request, size_request}));
    const Call call = kernel.calls(Fn::mmap).at(0);
    EXPECT_EQ(call.offset, physical);
    EXPECT_EQ(call.length, length);
    EXPECT_EQ(call.prot, PROT_READ | PROT_WRITE);
    harness.allow_leaked_mappings(1);
}

TEST_F(DisplayFrames, AreNotMappedWithoutTheirBase)
{
    kernel.refuse(node, base_request, 4, EIO);
    EXPECT_EQ(orka_idisplay_imaging_setup(), ORKA_STATUS_IO);
    EXPECT_EQ(log.take_error(),
              error_line("orka_idisplay_imaging_setup", "ORKA_IDISPLAY: iDispaly getting buffer base.", EIO));
    EXPECT_EQ(requests(), (std::vector<uint32_t>{base_request}));
}

TEST_F(DisplayFrames, AreNotMappedWithoutTheirSizeWhichIsASuccess)
{
    kernel.refuse(node, size_request, 4, EIO);
    EXPECT_EQ(orka_idisplay_imaging_setup(), ORKA_STATUS_SUCCESS);
    EXPECT_EQ(log.take_error(),
              error_line("orka_idisplay_imaging_setup", "ORKA_IDISPLAY: iDisplay getting buffer size.", EIO));
    EXPECT_TRUE(kernel.calls(Fn::mmap).empty());
}

TEST_F(DisplayFrames, AreNotMappedWithoutPhysicalMemory)
{
    kernel.missing("/dev/mem", EPERM);
    EXPECT_EQ(orka_idisplay_imaging_setup(), ORKA_STATUS_IO);
    EXPECT_EQ(log.take_error(),
              memory.missing_line(EPERM) +
                  error_line("orka_imem_mmap_actual", "ORKA_IMEM: Obtaining IMEM FD.") +
                  error_line("orka_idisplay_imaging_setup", "ORKA_IDISPLAY: Error Mapping iDisplay Buffer."));
}

TEST_F(DisplayFrames, AreNotMappedWithoutTheNode)
{
    kernel.missing(node, ENODEV);
    EXPECT_EQ(orka_idisplay_imaging_setup(), ORKA_STATUS_IO);
    EXPECT_EQ(log.take_error(),
              display.missing_line(ENODEV) + error_line("orka_idisplay_imaging_setup", no_node_message));
}

TEST_F(DisplayFrames, EndTheProcessWhenTheMappingFails)
{
    const Ending ending = end_of([](Kernel &kernel) {
        kernel.node(node);
        kernel.node("/dev/mem");
        answer_word(kernel, base_request, 4, 0, physical);
        answer_word(kernel, size_request, 4, 0, length);
        kernel.fail(Fn::mmap, {.error = ENOMEM});
        orka_idisplay_imaging_setup();
    });
    EXPECT_EQ(ending.status, 1);
    EXPECT_EQ(ending.error, error_line("orka_imem_mmap_actual", "ORKA_IMEM: MMapping Memory.", ENOMEM) +
                                fatal_line("orka_imem_get_pageaddr", "ORKA_IMEM: Invalid Page Address."));
}

TEST_F(DisplayFrames, AreAskedForByChannel)
{
    const uintptr_t base = map();
    EXPECT_EQ(buffer_at(physical + 0x1000), base + 0x1000);
    EXPECT_EQ(only_request().sent(), words({5, 0}));
}

TEST_F(DisplayFrames, ShowThePhysicalMemory)
{
    map();
    kernel.poke(physical + 0x2000, "seen");
    EXPECT_STREQ(reinterpret_cast<const char *>(buffer_at(physical + 0x2000)), "seen");
}

TEST_F(DisplayFrames, LieWithinTheMappingItsEndIncluded)
{
    const uintptr_t base = map();
    EXPECT_EQ(buffer_at(physical), base);
    EXPECT_EQ(buffer_at(physical + length), base + length);
    expect_out_of_range(physical + length + 1, base + length + 1);
    expect_out_of_range(physical - 1, base - 1);
}

TEST_F(DisplayFrames, AreNoneWhenTheDriverRefuses)
{
    kernel.refuse(node, buffer_request, 8, EINVAL);
    EXPECT_EQ(orka_idisplay_get_frame_buffer(5), nullptr);
    EXPECT_EQ(log.take_error(), error_line("orka_idisplay_get_frame_buffer", channel_message, EINVAL));
}

TEST_F(DisplayFrames, AreNoneWithoutTheNode)
{
    kernel.missing(node, ENODEV);
    EXPECT_EQ(orka_idisplay_get_frame_buffer(5), nullptr);
    EXPECT_EQ(log.take_error(),
              display.missing_line(ENODEV) + error_line("orka_idisplay_get_frame_buffer", no_node_message));
}

TEST_F(DisplayFrames, AtAddressZeroAbort)
{
    const Ending ending = end_of([](Kernel &kernel) {
        kernel.node(node);
        kernel.accept(node, buffer_request, 8);
        orka_idisplay_get_frame_buffer(0);
    });
    EXPECT_EQ(
        assertion_complaint(ending, "src/common/orka_imem.cpp", "orka_imem_p2v", "paddr != ((void *)0)"), "");
}

} // namespace

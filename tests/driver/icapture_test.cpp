/* The capture interface's requests, its handle, and captured frames. */
#include "driver/control.h"

#include <cstdio>
#include <gtest/gtest.h>
#include <sys/mman.h>

#include "orka_icapture.h"

using namespace orka_test;

namespace {

constexpr const char *node = "/dev/icapture";
constexpr Device capture = {node, "/dev/icap", "orka_idevice_icap_fd",
                            "ORKA_IDEVICE: Opening ICapture Device '/dev/icapture'."};
constexpr char no_node_message[] = "ORKA_ICAPTURE: Obtaining ICapture FD.";
const std::string invalid_message = "ORKA_ICAPTURE: Invalid Handle.";

constexpr uint32_t base_request = 0xC0046307;
constexpr uint32_t size_request = 0xC0046308;
constexpr uint32_t dimension_request = 0xC0086309;
constexpr uint32_t get_request = 0xC004630A;
constexpr uint32_t release_request = 0xC004630B;

constexpr uint32_t physical = 0x01000000;
constexpr uint32_t length = 0x3000;

/*
 * The exit handler forgets which descriptor it closed here, so that it would stay in use: it is closed before
 * that runs.
 */
template <typename Test>
class ClosesCapture : public Test {
  protected:
    void TearDown() override
    {
        orka_idevice_icap_fd_close();
        Test::TearDown();
    }
};

using CaptureTest = ClosesCapture<DriverTest>;

uint32_t control_record[2] = {0x80000001, 2};

using Params = orka_capture_params_t;

const Operation operations[] = {
    {"orka_icapture_setup", capture, 0xC0846300, counted_bytes<Params>(),
     [] { return orka_icapture_setup(counted<Params>()); }, "ORKA_ICAPTURE: ICapture setup.",
     no_node_message},
    {"orka_icapture_vdecoder_control", capture, 0xC008630C, words({0x80000001, 2}),
     [] { return orka_icapture_vdecoder_control(control_record); },
     "ORKA_ICAPTURE: Set/Get video decoder control parameters.", no_node_message},
    {"orka_icapture_set_vchannels", capture, 0x80046304, words({0x80000004}),
     [] { return orka_icapture_set_vchannels(0x80000004); }, "ORKA_ICAPTURE: ICapture set video channels.",
     no_node_message},
    {"orka_icapture_set_start_channel", capture, 0x80046305, words({3}),
     [] { return orka_icapture_set_start_channel(3); }, "ORKA_ICAPTURE: ICapture set start video channel.",
     no_node_message},
    {"orka_icapture_set_enable", capture, 0x80046301, words({1}), [] { return orka_icapture_set_enable(1); },
     "ORKA_ICAPTURE: ICapture enable/disable.", no_node_message},
    {"orka_icapture_set_passthru", capture, 0x80046306, words({2}),
     [] { return orka_icapture_set_passthru(2); }, "ORKA_ICAPTURE: ICapture enable/disable.",
     no_node_message},
};

class CaptureControl : public ClosesCapture<ControlTest> {};

TEST_P(CaptureControl, SendsExactlyItsRecord)
{
    expect_sent();
}

TEST_P(CaptureControl, IsDoneWhenTheDriverAnswersAboveZero)
{
    expect_done(1);
}

TEST_P(CaptureControl, IsAnErrorWhenTheDriverRefuses)
{
    for (const int answer : {-1, -7})
        expect_refused(answer);
}

TEST_P(CaptureControl, IsAnInputOutputFailureWithoutItsNode)
{
    expect_no_node();
}

INSTANTIATE_TEST_SUITE_P(Operations, CaptureControl, testing::ValuesIn(operations), row_name<Operation>);

class CaptureRecord : public CaptureTest {};

TEST_F(CaptureRecord, ComesBackAsTheDriverLeavesIt)
{
    kernel.node(node);
    kernel.on(node, 0xC0846300, 132, [](void *record) {
        set_word(record, 24, 352);
        return 0;
    });
    kernel.on(node, 0xC008630C, 8, [](void *record) {
        set_word(record, 4, 77);
        return 0;
    });
    orka_capture_params_t params = {};
    uint32_t record[2] = {};
    EXPECT_EQ(orka_icapture_setup(&params), ORKA_STATUS_SUCCESS);
    EXPECT_EQ(params.out_width, 352u);
    EXPECT_EQ(orka_icapture_vdecoder_control(record), ORKA_STATUS_SUCCESS);
    EXPECT_EQ(record[1], 77u);
}

/* A driver with frames of 720 by 240. */
void serve(Kernel &kernel)
{
    kernel.node(node);
    kernel.node("/dev/mem");
    kernel.on(node, base_request, 4, [](void *record) {
        set_word(record, 0, physical);
        return 0;
    });
    kernel.on(node, dimension_request, 8, [](void *record) {
        set_word(record, 0, 720);
        set_word(record, 4, 240);
        return 0;
    });
    kernel.on(node, size_request, 4, [](void *record) {
        set_word(record, 0, length);
        return 0;
    });
}

std::string trace_line(uint32_t vbase)
{
    return "ORKA_ICAPTURE: handle->width=720 handle->height=240 handle->framesize=345600 handle->vbase=" +
           std::to_string(vbase) + "\n";
}

class CaptureHandle : public CaptureTest {
  protected:
    void SetUp() override
    {
        serve(kernel);
        kernel.watch_block(96);
    }

    /* Opens a handle, whose mapping outlives it. */
    orka_capture_handle_t *open()
    {
        orka_capture_handle_t *handle = orka_icapture_init();
        harness.allow_leaked_mappings(1);
        EXPECT_EQ(log.take_output(), trace_line(handle->vbase));
        kernel.forget_calls();
        return handle;
    }

    void expect_failure(const std::string &lines)
    {
        EXPECT_EQ(orka_icapture_init(), nullptr);
        EXPECT_EQ(log.take_error(), lines);
    }

    void expect_zeroed_and_freed() { EXPECT_EQ(kernel.freed_bytes(), zeros(96)); }

    std::vector<uint32_t> requests()
    {
        std::vector<uint32_t> numbers;
        for (const Call &call : kernel.calls(Fn::ioctl))
            numbers.push_back(call.request);
        return numbers;
    }

    /* Each way in which a handle is not open, with what every function says of it. */
    template <typename Use>
    void expect_checked(const char *function, Use use)
    {
        const std::string check = "orka_icapture_check_handle";
        const std::string invalid = error_line(check, "ORKA_ICAPTURE: Invalid Menu Display Handle.") +
                                    error_line(function, invalid_message);
        orka_capture_handle_t *handle = open();
        handle->initialized = 2;
        EXPECT_EQ(use(handle), ORKA_STATUS_INITIALIZATION);
        EXPECT_EQ(log.take_error(), invalid);
        handle->initialized = 1;
        handle->magic[3] = 'T';
        EXPECT_EQ(use(handle), ORKA_STATUS_INITIALIZATION);
        EXPECT_EQ(log.take_error(), invalid);
        handle->magic[3] = 'S';
        EXPECT_EQ(use(nullptr), ORKA_STATUS_NULL_POINTER);
        EXPECT_EQ(log.take_error(), error_line(check, "ORKA_ICAPTURE: Handle is NULL.") +
                                        error_line(function, invalid_message));
        EXPECT_TRUE(kernel.calls({Fn::ioctl, Fn::close}).empty());
        EXPECT_FALSE(kernel.was_freed());
        orka_icapture_close(handle);
    }
};

TEST_F(CaptureHandle, IsFilledByTheDriver)
{
    orka_capture_handle_t *handle = orka_icapture_init();
    ASSERT_NE(handle, nullptr);
    harness.allow_leaked_mappings(1);
    EXPECT_EQ(requests(), (std::vector<uint32_t>{base_request, dimension_request, size_request}));
    for (const Call &call : kernel.calls(Fn::ioctl))
        EXPECT_EQ(call.sent(), zeros(call.size));

    const Call call = kernel.calls(Fn::mmap).at(0);
    const auto *bytes = reinterpret_cast<const uint8_t *>(handle);
    EXPECT_EQ(Bytes(bytes, bytes + 96),
              text("SIDS", 4) +
                  words({1, physical, static_cast<int64_t>(call.address), 720, 240, length, 345600}) +
                  zeros(64));
    EXPECT_EQ(log.take_output(), trace_line(handle->vbase));
    EXPECT_EQ(orka_icapture_close(handle), ORKA_STATUS_SUCCESS);
}

TEST_F(CaptureHandle, IsMappedForReadAndWrite)
{
    orka_capture_handle_t *handle = orka_icapture_init();
    harness.allow_leaked_mappings(1);
    const Call call = kernel.calls(Fn::mmap).at(0);
    EXPECT_EQ(call.offset, physical);
    EXPECT_EQ(call.length, length);
    EXPECT_EQ(call.prot, PROT_READ | PROT_WRITE);
    EXPECT_EQ(kernel.calls(Fn::mmap).size(), 1u);
    log.take_output();
    orka_icapture_close(handle);
}

TEST_F(CaptureHandle, IsTracedWithSignsWhereTheDriverTellsTooMuch)
{
    kernel.on(node, dimension_request, 8, [](void *record) {
        set_word(record, 0, 0xFFFFFFFF);
        set_word(record, 4, 3);
        return 0;
    });
    orka_capture_handle_t *handle = orka_icapture_init();
    harness.allow_leaked_mappings(1);
    EXPECT_EQ(log.take_output(),
              "ORKA_ICAPTURE: handle->width=-1 handle->height=3 handle->framesize=-6 handle->vbase=" +
                  std::to_string(handle->vbase) + "\n");
    EXPECT_EQ(handle->framesize, 0xFFFFFFFAu);
    orka_icapture_close(handle);
}

TEST_F(CaptureHandle, IsNoneWithoutTheNode)
{
    kernel.missing(node, EACCES);
    expect_failure(capture.missing_line(ENOENT) + error_line("orka_icapture_init", no_node_message));
    EXPECT_FALSE(kernel.was_freed());
}

TEST_F(CaptureHandle, IsSilentlyNoneWithoutMemory)
{
    kernel.fail(Fn::allocation, {.error = ENOMEM});
    expect_failure("");
    EXPECT_TRUE(kernel.calls(Fn::ioctl).empty());
}

TEST_F(CaptureHandle, IsNoneWithoutTheBase)
{
    kernel.refuse(node, base_request, 4, EIO);
    expect_failure(error_line("orka_icapture_init", "ORKA_ICAPTURE: ICapture frame buffer base.", EIO));
    EXPECT_EQ(requests().size(), 1u);
    expect_zeroed_and_freed();
}

TEST_F(CaptureHandle, IsNoneWithoutTheDimension)
{
    kernel.refuse(node, dimension_request, 8, EIO);
    expect_failure(error_line("orka_icapture_init", "ORKA_ICAPTURE: ICapture output dimension.", EIO));
    EXPECT_EQ(requests().size(), 2u);
    expect_zeroed_and_freed();
}

TEST_F(CaptureHandle, IsNoneWithoutTheSize)
{
    kernel.refuse(node, size_request, 4, EIO);
    expect_failure(error_line("orka_icapture_init", "ORKA_ICAPTURE: ICapture frame buffer size.", EIO));
    EXPECT_TRUE(kernel.calls(Fn::mmap).empty());
    expect_zeroed_and_freed();
}

TEST_F(CaptureHandle, IsTracedThoughItCannotBeMapped)
{
    kernel.missing("/dev/mem", EPERM);
    expect_failure(memory.missing_line(EPERM) +
                   error_line("orka_imem_mmap_actual", "ORKA_IMEM: Obtaining IMEM FD.") +
                   error_line("orka_icapture_init", "ORKA_ICAPTURE: Error Mapping ICapture Buffer."));
    EXPECT_EQ(log.take_output(), trace_line(0));
    expect_zeroed_and_freed();
}

TEST_F(CaptureHandle, EndsTheProcessWhenTheMappingFails)
{
    const Ending ending = end_of([](Kernel &kernel) {
        serve(kernel);
        kernel.fail(Fn::mmap, {.error = ENOMEM});
        orka_icapture_init();
    });
    EXPECT_EQ(ending.status, 1);
    EXPECT_EQ(ending.error, error_line("orka_imem_mmap_actual", "ORKA_IMEM: MMapping Memory.", ENOMEM) +
                                fatal_line("orka_imem_get_pageaddr", "ORKA_IMEM: Invalid Page Address."));
    EXPECT_EQ(ending.output, "");
}

TEST_F(CaptureHandle, IsChecked)
{
    orka_capture_handle_t *handle = open();
    EXPECT_EQ(orka_icapture_check_handle(handle), ORKA_STATUS_SUCCESS);
    handle->initialized = 0;
    EXPECT_EQ(orka_icapture_check_handle(handle), ORKA_STATUS_INITIALIZATION);
    EXPECT_EQ(log.take_error(),
              error_line("orka_icapture_check_handle", "ORKA_ICAPTURE: Invalid Menu Display Handle."));
    EXPECT_EQ(orka_icapture_check_handle(nullptr), ORKA_STATUS_NULL_POINTER);
    EXPECT_EQ(log.take_error(), error_line("orka_icapture_check_handle", "ORKA_ICAPTURE: Handle is NULL."));
    handle->initialized = 1;
    orka_icapture_close(handle);
}

TEST_F(CaptureHandle, TellsItsDimension)
{
    orka_capture_handle_t *handle = open();
    uint32_t width = 0;
    uint32_t height = 0;
    EXPECT_EQ(orka_icapture_get_dim(handle, &width, &height), ORKA_STATUS_SUCCESS);
    EXPECT_EQ(width, 720u);
    EXPECT_EQ(height, 240u);
    EXPECT_TRUE(kernel.calls(Fn::ioctl).empty());
    orka_icapture_close(handle);
}

TEST_F(CaptureHandle, TellsItsDimensionWithoutTheNode)
{
    orka_capture_handle_t *handle = open();
    uint32_t width = 0;
    uint32_t height = 0;
    orka_idevice_icap_fd_close();
    kernel.missing(node, ENODEV);
    EXPECT_EQ(orka_icapture_get_dim(handle, &width, &height), ORKA_STATUS_SUCCESS);
    EXPECT_EQ(width, 720u);
    kernel.node(node);
    orka_icapture_close(handle);
}

TEST_F(CaptureHandle, ThatIsNotOpenHasNoDimension)
{
    uint32_t width = 1;
    uint32_t height = 2;
    expect_checked("orka_icapture_get_dim", [&](orka_capture_handle_t *handle) {
        return orka_icapture_get_dim(handle, &width, &height);
    });
    EXPECT_EQ(width, 1u);
    EXPECT_EQ(height, 2u);
}

TEST_F(CaptureHandle, IsZeroedAndFreedWithItsMappingKept)
{
    orka_capture_handle_t *handle = open();
    EXPECT_EQ(orka_icapture_close(handle), ORKA_STATUS_SUCCESS);
    expect_zeroed_and_freed();
    EXPECT_EQ(kernel.paths(Fn::close), (std::vector<std::string>{node}));
    EXPECT_TRUE(kernel.calls(Fn::munmap).empty());
}

TEST_F(CaptureHandle, IsClosedThoughItsNodeIsNot)
{
    orka_capture_handle_t *handle = open();
    kernel.fail(Fn::close, {.error = EIO, .result = -1, .skip = 0, .times = 1});
    harness.allow_leaked_descriptors(1);
    EXPECT_EQ(orka_icapture_close(handle), ORKA_STATUS_SUCCESS);
    const std::string lines = log.take_error();
    EXPECT_TRUE(
        lines.ends_with(error_line("orka_idevice_icap_fd_close", "ORKA_IDEVICE: Closing ICapture FD.") +
                        error_line("orka_icapture_close", "ORKA_ICAPTURE: Closing Window FD.")))
        << lines;
    expect_zeroed_and_freed();
}

TEST_F(CaptureHandle, IsNotClosedWithoutTheNode)
{
    orka_capture_handle_t *handle = open();
    orka_idevice_icap_fd_close();
    kernel.missing(node, ENODEV);
    EXPECT_EQ(orka_icapture_close(handle), ORKA_STATUS_IO);
    EXPECT_EQ(log.take_error(),
              capture.missing_line(ENOENT) + error_line("orka_icapture_close", no_node_message));
    EXPECT_FALSE(kernel.was_freed());
    kernel.node(node);
    orka_icapture_close(handle);
}

TEST_F(CaptureHandle, ThatIsNotOpenIsNotClosed)
{
    expect_checked("orka_icapture_close", orka_icapture_close);
}

TEST_F(CaptureHandle, IsOpenedAgainOnANodeOpenedAgain)
{
    EXPECT_EQ(orka_icapture_close(open()), ORKA_STATUS_SUCCESS);
    orka_capture_handle_t *handle = orka_icapture_init();
    harness.allow_leaked_mappings(1);
    EXPECT_EQ(kernel.paths(Fn::open).back(), node);
    log.take_output();
    EXPECT_EQ(orka_icapture_close(handle), ORKA_STATUS_SUCCESS);
}

/* Frames */

class CapturedFrame : public CaptureHandle {
  protected:
    void SetUp() override
    {
        CaptureHandle::SetUp();
        handle = open();
        kernel.accept(node, release_request, 4);
    }

    void TearDown() override
    {
        kernel.node(node);
        orka_icapture_close(handle);
        CaptureHandle::TearDown();
    }

    uintptr_t frame_at(uint32_t paddr, uint32_t index = 0)
    {
        kernel.on(node, get_request, 4, [=](void *record) {
            set_word(record, 0, paddr);
            return 0;
        });
        return reinterpret_cast<uintptr_t>(orka_icapture_get_frame(handle, index));
    }

    void expect_out_of_range(uint32_t paddr, uint32_t vaddr)
    {
        char message[96];
        snprintf(message, sizeof message, "ORKA_ICAPTURE: Frame Buffer Address Out of Range - maddr=%p.",
                 reinterpret_cast<void *>(static_cast<uintptr_t>(vaddr)));
        EXPECT_EQ(frame_at(paddr), 0u);
        EXPECT_EQ(log.take_error(), error_line("orka_icapture_get_frame", message));
    }

    void lose_node()
    {
        orka_idevice_icap_fd_close();
        kernel.missing(node, ENODEV);
    }

    orka_capture_handle_t *handle = nullptr;
};

TEST_F(CapturedFrame, IsAskedForWithItsSlotInPlace)
{
    handle->slots[15] = 0x1234;
    EXPECT_EQ(frame_at(physical + 0x1000, 15), handle->vbase + 0x1000);
    EXPECT_EQ(only_request().request, get_request);
    EXPECT_EQ(only_request().sent(), words({0x1234}));
    EXPECT_EQ(only_request().argument, &handle->slots[15]);
    EXPECT_EQ(handle->slots[15], physical + 0x1000);
}

TEST_F(CapturedFrame, ShowsThePhysicalMemory)
{
    kernel.poke(physical + 0x800, "seen");
    EXPECT_STREQ(reinterpret_cast<const char *>(frame_at(physical + 0x800)), "seen");
}

TEST_F(CapturedFrame, LiesWithinTheMappingItsEndIncluded)
{
    EXPECT_EQ(frame_at(physical), handle->vbase);
    EXPECT_EQ(frame_at(physical + length), handle->vbase + length);
    expect_out_of_range(physical + length + 1, handle->vbase + length + 1);
    expect_out_of_range(physical - 1, handle->vbase - 1);
}

TEST_F(CapturedFrame, IsNoneWhenTheDriverRefuses)
{
    kernel.refuse(node, get_request, 4, EAGAIN);
    EXPECT_EQ(orka_icapture_get_frame(handle, 3), nullptr);
    EXPECT_EQ(log.take_error(),
              error_line("orka_icapture_get_frame", "ORKA_ICAPTURE: Get Frame Buffer Addr.", EAGAIN));
}

TEST_F(CapturedFrame, IsNoneWithoutTheNode)
{
    lose_node();
    EXPECT_EQ(orka_icapture_get_frame(handle, 3), nullptr);
    EXPECT_EQ(log.take_error(),
              capture.missing_line(ENOENT) + error_line("orka_icapture_get_frame", no_node_message));
}

TEST_F(CapturedFrame, AtAddressZeroAborts)
{
    const Ending ending = end_of([this](Kernel &kernel) {
        kernel.node(node);
        orka_idevice_icap_fd_close();
        kernel.accept(node, get_request, 4);
        orka_icapture_get_frame(handle, 0);
    });
    EXPECT_EQ(
        assertion_complaint(ending, "src/common/orka_imem.cpp", "orka_imem_p2v", "paddr != ((void *)0)"), "");
}

TEST_F(CapturedFrame, IsReleasedByItsSlot)
{
    frame_at(physical + 0x1000, 2);
    kernel.forget_calls();
    EXPECT_EQ(orka_icapture_release_frame(handle, 2), ORKA_STATUS_SUCCESS);
    EXPECT_EQ(only_request().request, release_request);
    EXPECT_EQ(only_request().sent(), words({physical + 0x1000}));
    EXPECT_EQ(only_request().argument, &handle->slots[2]);
}

TEST_F(CapturedFrame, IsNotReleasedWhenTheDriverRefuses)
{
    kernel.refuse(node, release_request, 4, EINVAL);
    EXPECT_EQ(orka_icapture_release_frame(handle, 2), ORKA_STATUS_ERROR);
    EXPECT_EQ(log.take_error(),
              error_line("orka_icapture_release_frame", "ORKA_ICAPTURE: Release frame.", EINVAL));
}

TEST_F(CapturedFrame, IsNotReleasedWithoutTheNode)
{
    lose_node();
    EXPECT_EQ(orka_icapture_release_frame(handle, 2), ORKA_STATUS_IO);
    EXPECT_EQ(log.take_error(), capture.missing_line(ENOENT));
}

TEST_F(CaptureHandle, ThatIsNotOpenHasNoFrames)
{
    expect_checked("orka_icapture_release_frame",
                   [](orka_capture_handle_t *handle) { return orka_icapture_release_frame(handle, 0); });
}

TEST_F(CaptureHandle, ThatIsNotOpenGivesNoFrames)
{
    orka_capture_handle_t *handle = open();
    handle->initialized = 0;
    EXPECT_EQ(orka_icapture_get_frame(handle, 0), nullptr);
    EXPECT_EQ(log.take_error(),
              error_line("orka_icapture_check_handle", "ORKA_ICAPTURE: Invalid Menu Display Handle.") +
                  error_line("orka_icapture_get_frame", invalid_message));
    EXPECT_EQ(orka_icapture_get_frame(nullptr, 0), nullptr);
    EXPECT_EQ(log.take_error(), error_line("orka_icapture_check_handle", "ORKA_ICAPTURE: Handle is NULL.") +
                                    error_line("orka_icapture_get_frame", invalid_message));
    EXPECT_TRUE(kernel.calls(Fn::ioctl).empty());
    handle->initialized = 1;
    orka_icapture_close(handle);
}

} // namespace

/* Opening and releasing a queue, which decoders and encoders do alike. */
#include "driver/driver_test.h"
#include "orka_idecode.h"
#include "orka_iencode.h"

#include <cstddef>
#include <gtest/gtest.h>
#include <sys/mman.h>

using namespace orka_test;

namespace {

constexpr uint32_t physical = 0x01000000;
constexpr uint32_t length = 0x3000;

/* Words that stand at the same place in every handle. */
constexpr size_t magic_offset = 0;
constexpr size_t version_offset = 4;
constexpr size_t vbase_offset = 28;
constexpr size_t words_size = 32;
static_assert(sizeof(orka_idecode_queue_t) == words_size);
static_assert(offsetof(orka_idecode_queue_t, vbase) == vbase_offset);
static_assert(offsetof(orka_iencode_queue_t, vbase) == vbase_offset);

/* Whose queue it is. A decoder's handle is freed zeroed, an encoder's as it is. */
struct Coder {
    const char *tag;
    size_t handle_size;
    bool freed_zeroed;
    const char *releaser;
    orka_status_t (*release)(void *queue);
    const char *not_unmapped;
};

constexpr Coder decoder = {
    .tag = "ORKA_IDECODE: ",
    .handle_size = sizeof(orka_idecode_queue_t),
    .freed_zeroed = true,
    .releaser = "orka_idecode_release_queue",
    .release =
        [](void *queue) { return orka_idecode_release_queue(static_cast<orka_idecode_queue_t *>(queue)); },
    .not_unmapped = "Unmapping Queue Address.",
};
constexpr Coder encoder = {
    .tag = "ORKA_IENCODE: ",
    .handle_size = sizeof(orka_iencode_queue_t),
    .freed_zeroed = false,
    .releaser = "orka_iencode_release_queue",
    .release =
        [](void *queue) { return orka_iencode_release_queue(static_cast<orka_iencode_queue_t *>(queue)); },
    .not_unmapped = "Referencing Uninitialized Queue Handle.",
};

/* The request for a queue: its record, and where in it the driver answers with a length and then a base. */
struct Request {
    uint32_t number;
    size_t record_size;
    size_t length_offset;
    bool names_queue; /* by channel, stream and number */
};

constexpr Request decoder_request = {0xC0486414, 72, 60, true};
constexpr Request audio_encoder_request = {0x40486514, 72, 60, true};
constexpr Request video_encoder_request = {0x403C6A07, 60, 48, false};
constexpr Request mv_encoder_request = {0x403C6A0A, 60, 48, false};

/* What is said when a queue is not opened. */
struct Texts {
    const char *no_node;
    const char *refused;
    const char *not_mapped;
};

constexpr Texts audio_texts = {"Obtaining IDecode FD.", "Audio Decode Queue Addr.",
                               "Error Mapping Audio Queue."};
constexpr Texts video_texts = {"Obtaining Video Decode FD.",
                               "Video Decode Queue Addr - Stream 1 of Channel 2.",
                               "Error Mapping Video Queue."};
constexpr Texts subtitle_texts = {"Obtaining SubTitleDec FD.", "Subtitle Decode Queue Addr.",
                                  "Error Mapping Subtitle Queue."};
constexpr Texts encoded_audio_texts = {"Obtaining IEncode FD.", "Audio Encode Queue Addr.",
                                       "Error Mapping Audio Queue."};
constexpr Texts encoded_video_texts = {"Obtaining IEncode FD.", "Video Encode Queue Addr.",
                                       "Error Mapping Video Queue."};

/* One way to open a queue. */
struct Opening {
    const char *name;
    const char *function; /* that reports */
    const Coder &coder;
    const Device &device;
    Request request;
    void *(*call)();
    uint32_t magic;
    Bytes address; /* channel, stream and number, as they stand in the handle */
    Texts texts;

    Bytes sent() const
    {
        return request.names_queue ? address + zeros(request.record_size - address.size())
                                   : zeros(request.record_size);
    }

    std::string line(const char *message) const
    {
        return error_line(function, coder.tag + std::string(message));
    }

    std::string line(const char *message, int error) const
    {
        return error_line(function, coder.tag + std::string(message), error);
    }

    std::string release_line(const char *message) const
    {
        return error_line(coder.releaser, coder.tag + std::string(message));
    }

    friend void PrintTo(const Opening &opening, std::ostream *stream) { *stream << opening.name; }
};

const Opening openings[] = {
    {"decoded_audio", "orka_idecode_get_audio_queueid", decoder, audio_decoder, decoder_request,
     []() -> void * { return orka_idecode_get_audio_queue(0); }, 0x49445141, words({0, 0, 3}), audio_texts},
    {"decoded_audio_with_id", "orka_idecode_get_audio_queueid", decoder, audio_decoder, decoder_request,
     []() -> void * { return orka_idecode_get_audio_queueid(0, 0x80000007); }, 0x49445141,
     words({0, 0, 0x80000007}), audio_texts},
    {"decoded_video", "orka_idecode_get_video_queueid", decoder, video_decoder, decoder_request,
     []() -> void * { return orka_idecode_get_video_queue(2, 1); }, 0x49445156, words({2, 1, 8}),
     video_texts},
    {"decoded_video_with_id", "orka_idecode_get_video_queueid", decoder, video_decoder, decoder_request,
     []() -> void * { return orka_idecode_get_video_queueid(2, 1, 5); }, 0x49445156, words({2, 1, 5}),
     video_texts},
    {"decoded_subtitle", "orka_idecode_get_subtitle_queueid", decoder, subtitle_decoder, decoder_request,
     []() -> void * { return orka_idecode_get_subtitle_queue(0); }, 0x49445153, words({0, 0, 3}),
     subtitle_texts},
    {"decoded_subtitle_with_id", "orka_idecode_get_subtitle_queueid", decoder, subtitle_decoder,
     decoder_request, []() -> void * { return orka_idecode_get_subtitle_queueid(0, 9); }, 0x49445153,
     words({0, 0, 9}), subtitle_texts},
    {"encoded_audio", "orka_iencode_get_audio_queueid", encoder, audio_encoder, audio_encoder_request,
     []() -> void * { return orka_iencode_get_audio_queue(0); }, 0x49514541, words({0, 0, 3}),
     encoded_audio_texts},
    {"encoded_audio_with_id", "orka_iencode_get_audio_queueid", encoder, audio_encoder, audio_encoder_request,
     []() -> void * { return orka_iencode_get_audio_queueid(0, 0x80000007); }, 0x49514541,
     words({0, 0, 0x80000007}), encoded_audio_texts},
    {"encoded_video", "orka_iencode_get_video_queue", encoder, video_encoder3, video_encoder_request,
     []() -> void * { return orka_iencode_get_video_queue(3); }, 0x49515556, words({3, 0, 0}),
     encoded_video_texts},
    {"encoded_motion_vectors", "orka_iencode_get_video_mv_queue", encoder, mv_encoder3, mv_encoder_request,
     []() -> void * { return orka_iencode_get_video_mv_queue(3); }, 0x4951554D, words({3, 0, 0}),
     encoded_video_texts},
};

void make_nodes(Kernel &kernel, const Opening &opening, uint32_t at = physical, uint32_t bytes = length)
{
    const size_t offset = opening.request.length_offset;
    kernel.node(opening.device.node);
    kernel.node("/dev/mem");
    kernel.on(opening.device.node, opening.request.number, opening.request.record_size, [=](void *record) {
        set_word(record, offset, bytes);
        set_word(record, offset + 4, at);
        return 0;
    });
}

class QueueLife : public DriverTest, public testing::WithParamInterface<Opening> {
  protected:
    void SetUp() override { make_nodes(kernel, GetParam()); }

    void open()
    {
        kernel.watch_block(GetParam().coder.handle_size);
        queue = GetParam().call();
        ASSERT_NE(queue, nullptr);
    }

    orka_status_t release() { return GetParam().coder.release(queue); }

    Bytes handle() const
    {
        const auto *bytes = static_cast<const uint8_t *>(queue);
        return {bytes, bytes + GetParam().coder.handle_size};
    }

    uint32_t vbase() const
    {
        uint32_t word;
        memcpy(&word, static_cast<const char *>(queue) + vbase_offset, sizeof word);
        return word;
    }

    void expect_not_opened(const std::string &lines)
    {
        kernel.watch_block(GetParam().coder.handle_size);
        EXPECT_EQ(GetParam().call(), nullptr);
        EXPECT_EQ(log.take_error(), lines);
    }

    /* A handle that never was open is freed zeroed by both coders. */
    void expect_refused(int error, int result)
    {
        kernel.refuse(GetParam().device.node, GetParam().request.number, GetParam().request.record_size,
                      error, result);
        expect_not_opened(GetParam().line(GetParam().texts.refused, error));
        EXPECT_EQ(kernel.freed_bytes(), zeros(GetParam().coder.handle_size));
    }

    void expect_not_released_with(size_t offset, uint32_t word, uint32_t right_word)
    {
        set_word(queue, offset, word);
        EXPECT_EQ(release(), ORKA_STATUS_INITIALIZATION);
        EXPECT_EQ(log.take_error(), GetParam().release_line("Invalid Queue Handle."));
        EXPECT_TRUE(kernel.calls(Fn::munmap).empty());
        EXPECT_FALSE(kernel.was_freed());
        set_word(queue, offset, right_word);
    }

    void *queue = nullptr;
};

TEST_P(QueueLife, BeginsByAskingTheDriverWhereTheQueueLies)
{
    open();
    EXPECT_STREQ(only_request().path, GetParam().device.node);
    EXPECT_EQ(only_request().request, GetParam().request.number);
    EXPECT_EQ(only_request().sent(), GetParam().sent());
    release();
}

TEST_P(QueueLife, FillsTheHandle)
{
    open();
    EXPECT_EQ(handle(), words({GetParam().magic, 1}) + GetParam().address +
                            words({length, physical, vbase()}) +
                            zeros(GetParam().coder.handle_size - words_size));
    release();
}

TEST_P(QueueLife, MapsItsMemoryOnceForReadAndWrite)
{
    open();
    std::vector<Call> calls = kernel.calls(Fn::mmap);
    ASSERT_EQ(calls.size(), 1u);
    EXPECT_EQ(calls[0].length, length);
    EXPECT_EQ(calls[0].offset, physical);
    EXPECT_EQ(calls[0].prot, PROT_READ | PROT_WRITE);
    EXPECT_TRUE(calls[0].flags & MAP_SHARED);
    EXPECT_EQ(calls[0].address, vbase());
    release();
}

TEST_P(QueueLife, ShowsThePhysicalMemory)
{
    open();
    char *at = reinterpret_cast<char *>(static_cast<uintptr_t>(vbase())) + 0x123;
    kernel.poke(physical + 0x123, "seen");
    EXPECT_STREQ(at, "seen");
    memcpy(at, "sent", 4);
    EXPECT_EQ(kernel.peek(physical + 0x123, 4), "sent");
    release();
}

TEST_P(QueueLife, DoesNotBeginWithoutTheDriversNode)
{
    for (const std::string &name : GetParam().device.names())
        kernel.missing(name.c_str(), ENXIO);
    expect_not_opened(GetParam().device.missing_line(ENXIO) + GetParam().line(GetParam().texts.no_node));
    EXPECT_FALSE(kernel.was_freed());
}

TEST_P(QueueLife, DoesNotBeginWithoutMemoryForTheHandle)
{
    const std::string line = GetParam().line("Unable to Allocate Memory for Queue Handle.", ENOMEM);
    kernel.fail(Fn::allocation, {.error = ENOMEM});
    expect_not_opened(line);
    EXPECT_TRUE(kernel.calls(Fn::ioctl).empty());
}

TEST_P(QueueLife, DoesNotBeginWhenTheDriverRefuses)
{
    expect_refused(EINVAL, -1);
}

TEST_P(QueueLife, DoesNotBeginWhenTheDriverAnswersAnythingButZero)
{
    expect_refused(EAGAIN, 2);
}

TEST_P(QueueLife, DoesNotBeginWithoutThePhysicalMemorysNode)
{
    kernel.missing("/dev/mem", EPERM);
    expect_not_opened(memory.missing_line(EPERM) +
                      error_line("orka_imem_mmap_actual", "ORKA_IMEM: Obtaining IMEM FD.") +
                      GetParam().line(GetParam().texts.not_mapped));
    EXPECT_EQ(kernel.freed_bytes(), zeros(GetParam().coder.handle_size));
}

TEST_P(QueueLife, EndsTheProcessWhenTheMappingFails)
{
    Ending ending = end_of([](Kernel &kernel) {
        make_nodes(kernel, GetParam());
        kernel.fail(Fn::mmap, {.error = ENOMEM});
        GetParam().call();
    });
    EXPECT_EQ(ending.status, 1);
    EXPECT_EQ(ending.error, error_line("orka_imem_mmap_actual", "ORKA_IMEM: MMapping Memory.", ENOMEM) +
                                fatal_line("orka_imem_get_pageaddr", "ORKA_IMEM: Invalid Page Address."));
    EXPECT_EQ(ending.output, "");
}

TEST_P(QueueLife, AbortsOnAQueueAtAddressZero)
{
    Ending ending = end_of([](Kernel &kernel) {
        make_nodes(kernel, GetParam(), 0);
        GetParam().call();
    });
    EXPECT_EQ(assertion_complaint(ending, "src/common/orka_imem.cpp", "orka_imem_mmap_actual", "paddr != 0"),
              "");
}

TEST_P(QueueLife, MapsFromThePageThatTheAddressLiesIn)
{
    make_nodes(kernel, GetParam(), physical + 0x234, 0x100);
    open();
    Call call = kernel.calls(Fn::mmap).at(0);
    EXPECT_EQ(call.offset, physical);
    EXPECT_EQ(call.length, 0x334u);
    EXPECT_EQ(vbase(), call.address + 0x234);
    EXPECT_EQ(release(), ORKA_STATUS_SUCCESS);
    EXPECT_EQ(kernel.calls(Fn::munmap).at(0).length, 0x334u);
}

TEST_P(QueueLife, EndsUnmappedAndFreed)
{
    open();
    const Bytes before = handle();
    const uint32_t mapped_at = vbase();
    EXPECT_EQ(release(), ORKA_STATUS_SUCCESS);
    Call call = kernel.calls(Fn::munmap).at(0);
    EXPECT_EQ(call.address, mapped_at);
    EXPECT_EQ(call.length, length);
    EXPECT_EQ(kernel.freed_bytes(), GetParam().coder.freed_zeroed ? zeros(before.size()) : before);
}

TEST_P(QueueLife, EndsFreedAllTheSameWhenUnmappingFails)
{
    open();
    const Bytes before = handle();
    kernel.fail(Fn::munmap, {.error = EINVAL});
    EXPECT_EQ(release(), ORKA_STATUS_ERROR);
    EXPECT_EQ(log.take_error(), error_line("orka_imem_munmap_actual", "ORKA_IMEM: MMapping Memory.", EINVAL) +
                                    GetParam().release_line(GetParam().coder.not_unmapped));
    EXPECT_EQ(kernel.freed_bytes(), GetParam().coder.freed_zeroed ? zeros(before.size()) : before);
    harness.allow_leaked_mappings(1);
}

TEST_P(QueueLife, DoesNotEndWithAnotherMagicOrVersion)
{
    open();
    expect_not_released_with(magic_offset, GetParam().magic ^ 0x20, GetParam().magic);
    expect_not_released_with(version_offset, 0, 1);
    expect_not_released_with(version_offset, 2, 1);
    EXPECT_EQ(release(), ORKA_STATUS_SUCCESS);
}

TEST_P(QueueLife, DoesNotEndForNull)
{
    EXPECT_EQ(release(), ORKA_STATUS_NULL_POINTER);
    EXPECT_EQ(log.take_error(), GetParam().release_line("NULL Pointer Deref."));
}

INSTANTIATE_TEST_SUITE_P(Ways, QueueLife, testing::ValuesIn(openings),
                         [](const testing::TestParamInfo<Opening> &info) {
                             return std::string(info.param.name);
                         });

TEST(QueueText, NamesTheStreamAndTheChannelOfAVideoQueue)
{
    Harness harness;
    harness.kernel.node("/dev/vdecode");
    harness.kernel.refuse("/dev/vdecode", decoder_request.number, decoder_request.record_size, EINVAL);
    EXPECT_EQ(orka_idecode_get_video_queueid(3, 0, 5), nullptr);
    EXPECT_EQ(harness.log.take_error(),
              error_line("orka_idecode_get_video_queueid",
                         "ORKA_IDECODE: Video Decode Queue Addr - Stream 0 of Channel 3.", EINVAL));
    orka_idevice_close_atexit();
    EXPECT_EQ(harness.complaints(), "");
}

} // namespace

/* The host codec map and the media locks, over scripted semaphores and the scripted kernel. */
#include "codecmap.h"

#include <cstring>
#include <gtest/gtest.h>
#include <string>
#include <vector>

#include "orka_idevice.h"
#include "pavosem.h"
#include "support/child.h"
#include "support/harness.h"
#include "support/words.h"

using namespace orka_test;

namespace {

/* What the platform's semaphores were asked, one text a call, and what they answer. */
std::vector<std::string> asked;
int created = 1;
int down[3] = {0, 0, 0}; /* for audio, video, imaging */
int set_value = 0;

size_t side_of(int id)
{
    return id == 'a' ? 0 : id == 'v' ? 1 : 2;
}

} // namespace

/* These come before the platform's for libcodecmap.so, which imports them by name. */
extern "C" int PavoSemCreate(const char *path, int key, int initial, int *id_out)
{
    asked.push_back(std::string("create ") + path + " " + static_cast<char>(key) + " " +
                    std::to_string(initial));
    if (created >= 0)
        *id_out = key;
    return created;
}

extern "C" int PavoSemDown(int id, int wait)
{
    asked.push_back(std::string("down ") + static_cast<char>(id) + " " + std::to_string(wait));
    return down[side_of(id)];
}

extern "C" int PavoSemSetValue(int id, int value)
{
    asked.push_back(std::string("set ") + static_cast<char>(id) + " " + std::to_string(value));
    return set_value;
}

namespace {

struct Pair {
    int32_t dm320;
    int32_t kor;
};

const Pair audio_pairs[] = {{0, 17},  {1, 0},   {2, 1},   {3, 2},   {4, 3},   {5, 4},
                            {6, 5},   {7, 6},   {8, 14},  {9, 7},   {10, 8},  {11, 9},
                            {12, 10}, {13, 11}, {14, 12}, {15, 13}, {16, 15}, {17, 16}};

const Pair video_pairs[] = {{0, 14}, {1, 0}, {2, 1},   {3, 2},   {4, 4},   {5, 5},   {6, 6}, {7, 7},
                            {8, 8},  {9, 9}, {10, 10}, {11, 11}, {12, 12}, {13, 13}, {14, 3}};

class CodecMap : public HarnessTest {};

TEST_F(CodecMap, HasTheHostsNumberOfEveryAudioType)
{
    for (auto [dm320, kor] : audio_pairs) {
        EXPECT_EQ(audio_codec_dm320_2_kor(dm320), kor);
        EXPECT_EQ(audio_codec_kor_2_dm320(kor), dm320);
    }
}

TEST_F(CodecMap, HasTheHostsNumberOfEveryVideoType)
{
    for (auto [dm320, kor] : video_pairs) {
        EXPECT_EQ(video_codec_dm320_2_kor(dm320), kor);
        EXPECT_EQ(video_codec_kor_2_dm320(kor), dm320);
    }
}

TEST_F(CodecMap, HasMinusOneForAllOthersAndForMinusOne)
{
    for (int32_t nothing : {-1, -2, 18, 100, INT32_MIN, INT32_MAX}) {
        EXPECT_EQ(audio_codec_dm320_2_kor(nothing), -1);
        EXPECT_EQ(audio_codec_kor_2_dm320(nothing), -1);
        EXPECT_EQ(video_codec_dm320_2_kor(nothing), -1);
        EXPECT_EQ(video_codec_kor_2_dm320(nothing), -1);
    }
    EXPECT_EQ(video_codec_dm320_2_kor(15), -1);
    EXPECT_EQ(video_codec_kor_2_dm320(15), -1);
}

TEST_F(CodecMap, TranslatesAnAudioDescriptorToTheHost)
{
    const orka_audio_desc_t adesc = {1, 14, 2, 3, 4, 5, 6, 7, 8, 9, 10};
    kor_audio_desc_t kdesc;
    memset(&kdesc, 0xFF, sizeof kdesc);
    EXPECT_EQ(audio_desc_dm320_2_kor(&adesc, &kdesc), 12);
    EXPECT_EQ(words_of(kdesc), (Words{12, 3, 4, 5, 7, 8}));
}

TEST_F(CodecMap, TranslatesAnUnknownAudioDescriptorToTheHostAllTheSame)
{
    const orka_audio_desc_t adesc = {0, 99, 2, 3, 4, 5, 6, 7, 8, 9, 10};
    kor_audio_desc_t kdesc;
    EXPECT_EQ(audio_desc_dm320_2_kor(&adesc, &kdesc), -1);
    EXPECT_EQ(words_of(kdesc), (Words{0xFFFFFFFF, 3, 4, 5, 7, 8}));
}

TEST_F(CodecMap, TranslatesAnAudioDescriptorFromTheHost)
{
    const kor_audio_desc_t kdesc = {14, 3, 4, 5, 7, 8};
    orka_audio_desc_t adesc;
    memset(&adesc, 0xFF, sizeof adesc);
    EXPECT_EQ(audio_desc_kor_2_dm320(&kdesc, &adesc), 8);
    EXPECT_EQ(words_of(adesc), (Words{1, 8, 0, 3, 4, 5, 0, 7, 8, 0, 1}));
}

TEST_F(CodecMap, MarksAnUnknownAudioDescriptorFromTheHostValid)
{
    const kor_audio_desc_t kdesc = {18, 3, 4, 5, 7, 8};
    orka_audio_desc_t adesc;
    EXPECT_EQ(audio_desc_kor_2_dm320(&kdesc, &adesc), -1);
    EXPECT_EQ(words_of(adesc), (Words{1, 0xFFFFFFFF, 0, 3, 4, 5, 0, 7, 8, 0, 1}));
}

TEST_F(CodecMap, TranslatesAVideoDescriptorToTheHost)
{
    const orka_video_desc_t vdesc = {0, 14, 0x123456FE, 320, 240};
    kor_video_desc_t kdesc;
    EXPECT_EQ(video_desc_dm320_2_kor(&vdesc, &kdesc), 3);
    EXPECT_EQ(words_of(kdesc), (Words{3, 320, 240, 0xFE}));
}

TEST_F(CodecMap, TranslatesAVideoDescriptorFromTheHostAndKeepsTheRestOfAux)
{
    const kor_video_desc_t kdesc = {3, 320, 240, 0x1FF};
    orka_video_desc_t vdesc = {7, 7, 0x12345600, 1, 2};
    EXPECT_EQ(video_desc_kor_2_dm320(&kdesc, &vdesc), 14);
    EXPECT_EQ(words_of(vdesc), (Words{1, 14, 0x123456FF, 320, 240}));
}

TEST_F(CodecMap, MarksAnUnknownVideoDescriptorFromTheHostValid)
{
    const kor_video_desc_t kdesc = {15, 320, 240, 0};
    orka_video_desc_t vdesc = {0, 0, 0, 0, 0};
    EXPECT_EQ(video_desc_kor_2_dm320(&kdesc, &vdesc), -1);
    EXPECT_EQ(words_of(vdesc), (Words{1, 0xFFFFFFFF, 0, 320, 240}));
}

/* Media memory: the mark lives as long as the process. */

constexpr uint32_t reset_request = 0x80046B01;

size_t resets(const Harness &harness)
{
    return harness.kernel.calls(Fn::ioctl).size();
}

TEST(MediaMemory, BeginsDirtyAndIsResetOnce)
{
    in_fresh_process([](Harness &harness) {
        harness.kernel.node("/dev/imanage");
        harness.kernel.accept("/dev/imanage", reset_request, no_record);
        EXPECT_EQ(media_mem_is_dirty(), 1);
        media_mem_reset();
        EXPECT_EQ(resets(harness), 1u);
        EXPECT_EQ(media_mem_is_dirty(), 0);
        media_mem_reset();
        EXPECT_EQ(resets(harness), 1u);
        orka_idevice_close_atexit();
    });
}

TEST(MediaMemory, IsResetAgainOnceItIsDirty)
{
    in_fresh_process([](Harness &harness) {
        harness.kernel.node("/dev/imanage");
        harness.kernel.accept("/dev/imanage", reset_request, no_record);
        media_mem_reset();
        media_mem_dirty();
        EXPECT_EQ(media_mem_is_dirty(), 1);
        media_mem_dirty();
        media_mem_reset();
        EXPECT_EQ(resets(harness), 2u);
        EXPECT_EQ(media_mem_is_dirty(), 0);
        orka_idevice_close_atexit();
    });
}

TEST(MediaMemory, IsDirtyUntilTheResetIsDone)
{
    in_fresh_process([](Harness &harness) {
        int32_t meanwhile = -1;

        harness.kernel.node("/dev/imanage");
        harness.kernel.on("/dev/imanage", reset_request, no_record, [&meanwhile](void *) {
            meanwhile = media_mem_is_dirty();
            return 0;
        });
        media_mem_reset();
        EXPECT_EQ(meanwhile, 1);
        EXPECT_EQ(media_mem_is_dirty(), 0);
        orka_idevice_close_atexit();
    });
}

TEST(MediaMemory, IsCleanThoughItsResetWasRefused)
{
    in_fresh_process([](Harness &harness) {
        harness.kernel.node("/dev/imanage");
        harness.kernel.refuse("/dev/imanage", reset_request, no_record, EBUSY);
        media_mem_reset();
        EXPECT_EQ(harness.log.take_error(),
                  error_line("orka_imem_reset", "ORKA_IMEM: Requesting IMEM Reset.", EBUSY));
        EXPECT_EQ(media_mem_is_dirty(), 0);
        orka_idevice_close_atexit();
    });
}

/* Locks */

class MediaLock : public HarnessTest {
  protected:
    void SetUp() override { answer(1); }

    static void answer(int create)
    {
        asked.clear();
        created = create;
        set_value = 0;
        for (int &result : down)
            result = 0;
    }

    static std::string create(char key)
    {
        return std::string("create /var/tmp/sem-dm320-media ") + key + " 1";
    }

    using Texts = std::vector<std::string>;
};

struct Side {
    char key;
    int (*lock)();
    int (*unlock)();
};

const Side sides[] = {{'a', dm320_a_lock, dm320_a_unlock},
                      {'v', dm320_v_lock, dm320_v_unlock},
                      {'i', dm320_i_lock, dm320_i_unlock}};

TEST_F(MediaLock, IsTakenWhetherItsSemaphoreIsNewOrNot)
{
    for (const Side &side : sides) {
        for (int existed : {0, 1}) {
            answer(existed);
            EXPECT_EQ(side.lock(), 0);
            EXPECT_EQ(asked, (Texts{create(side.key), std::string("down ") + side.key + " 0"}));
        }
    }
}

TEST_F(MediaLock, ThatIsHeldGivesThePlatformsResult)
{
    for (const Side &side : sides) {
        for (int result : {-1, 5}) {
            down[side_of(side.key)] = result;
            EXPECT_EQ(side.lock(), result);
        }
    }
}

TEST_F(MediaLock, WithoutASemaphoreGivesThePlatformsFailure)
{
    for (const Side &side : sides) {
        answer(-7);
        EXPECT_EQ(side.lock(), -7);
        EXPECT_EQ(side.unlock(), -7);
        EXPECT_EQ(asked, (Texts{create(side.key), create(side.key)}));
    }
}

TEST_F(MediaLock, IsSetToOneWhenItIsUnlocked)
{
    for (const Side &side : sides) {
        answer(1);
        set_value = -3;
        EXPECT_EQ(side.unlock(), -3);
        EXPECT_EQ(asked, (Texts{create(side.key), std::string("set ") + side.key + " 1"}));
    }
}

TEST_F(MediaLock, IsNotSetWhenItsSemaphoreIsNew)
{
    for (const Side &side : sides) {
        answer(0);
        EXPECT_EQ(side.unlock(), 0);
        EXPECT_EQ(asked, Texts{create(side.key)});
    }
}

TEST_F(MediaLock, OfThePairIsTakenAudioFirst)
{
    EXPECT_EQ(dm320_av_lock(), 0);
    EXPECT_EQ(asked, (Texts{create('a'), "down a 0", create('v'), "down v 0"}));
}

TEST_F(MediaLock, OfThePairStopsAtAudio)
{
    for (int result : {-2, 4}) {
        answer(1);
        down[0] = result;
        EXPECT_EQ(dm320_av_lock(), -1);
        EXPECT_EQ(asked, (Texts{create('a'), "down a 0"}));
    }
}

TEST_F(MediaLock, OfThePairGivesAudioBackWhereVideoIsHeld)
{
    for (int result : {-2, 4}) {
        answer(1);
        down[1] = result;
        EXPECT_EQ(dm320_av_lock(), -1);
        EXPECT_EQ(asked, (Texts{create('a'), "down a 0", create('v'), "down v 0", create('a'), "set a 1"}));
    }
}

TEST_F(MediaLock, OfThePairIsGivenBackVideoFirstWhateverThePlatformSays)
{
    set_value = -1;
    EXPECT_EQ(dm320_av_unlock(), 0);
    EXPECT_EQ(asked, (Texts{create('v'), "set v 1", create('a'), "set a 1"}));
    answer(-1);
    EXPECT_EQ(dm320_av_unlock(), 0);
}

TEST_F(MediaLock, OfThePairIsTriedAndGivenBackToSeeWhetherItIsFree)
{
    EXPECT_EQ(dm320_is_av_locked(), 0);
    EXPECT_EQ(asked, (Texts{create('a'), "down a 0", create('v'), "down v 0", create('v'), "set v 1",
                            create('a'), "set a 1"}));
}

TEST_F(MediaLock, OfThePairThatSomebodyHoldsIsLocked)
{
    down[0] = -1;
    EXPECT_EQ(dm320_is_av_locked(), -1);
    EXPECT_EQ(asked, (Texts{create('a'), "down a 0"}));
}

} // namespace

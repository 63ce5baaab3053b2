/* Cameras and microphones on a machine without libavdevice. */
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <cstring>
#include <dlfcn.h>

#include "dsp/camera.h"

namespace {

char not_there[] = "libavdevice.so: cannot open shared object file: No such file or directory";
bool failed = false;

} // namespace

/* The loader, on such a machine. */
extern "C" void *dlopen(const char *name, int mode) noexcept
{
    using Open = void *(const char *, int);
    static auto *const open = reinterpret_cast<Open *>(dlsym(RTLD_NEXT, "dlopen"));
    failed = name && strstr(name, "libavdevice");
    return failed ? nullptr : open(name, mode);
}

extern "C" char *dlerror() noexcept
{
    using Error = char *();
    static auto *const error = reinterpret_cast<Error *>(dlsym(RTLD_NEXT, "dlerror"));
    return std::exchange(failed, false) ? not_there : error();
}

namespace orka::board {
namespace {

TEST(MediaLibraries, ThatAreNotThereAreNamedByWhoNeedsThem)
{
    std::string why;
    EXPECT_EQ(Camera::create("lavfi:testsrc2", why), nullptr);
    EXPECT_EQ(why, std::string("camera lavfi:testsrc2: ") + not_there);
    EXPECT_EQ(Microphone::create("lavfi:sine", why), nullptr);
    EXPECT_EQ(why, std::string("microphone lavfi:sine: ") + not_there);
}

TEST(MediaLibraries, AreNotNeededForTheTestPictureAndTheTestTone)
{
    std::string why;
    EXPECT_NE(Camera::create("", why), nullptr) << why;
    EXPECT_NE(Microphone::create("", why), nullptr) << why;
}

} // namespace
} // namespace orka::board

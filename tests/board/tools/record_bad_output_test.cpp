/* What orka-record does when the file or the encoders fail, and when it is stopped. */
#include <csignal>
#include <gtest/gtest.h>
#include <regex>
#include <string>

#include <sys/stat.h>
#include <unistd.h>

#include "board/tools/support.h"

using namespace orka_tools_test;

namespace {

bool waits_until_written(const std::string &file, off_t bytes)
{
    for (int i = 0; i < 600; i++) {
        struct stat status;
        if (stat(file.c_str(), &status) == 0 && status.st_size >= bytes)
            return true;
        usleep(50'000);
    }
    return false;
}

} // namespace

TEST(OrkaRecord, APathThatCannotBeWrittenIsNamed)
{
    const Ending ending = record({"/nowhere/clip.avi", "--seconds", "1"});
    EXPECT_EQ(ending.status, 1);
    EXPECT_EQ(ending.err, "orka-record: /nowhere/clip.avi: No such file or directory\n");
}

TEST(OrkaRecord, AFullDiskIsSaidAndWhatWasWrittenPlays)
{
    for (const char *name : {"clip.avi", "clip.mp4", "clip.mkv", "clip.ts"}) {
        const std::string file = scratch(name);
        /* In blocks of 512 bytes. */
        const Ending ending =
            run({ORKA_BOARD_PROGRAM, "run", "--", "sh", "-c", "trap '' XFSZ; ulimit -f 1200; exec \"$@\"",
                 "sh", ORKA_RECORD_PROGRAM, file, "--seconds", "60"});
        EXPECT_EQ(ending.status, 1) << name;
        EXPECT_NE(ending.err.find("orka-record: " + file + ": File too large\n"), std::string::npos)
            << ending.err;
        EXPECT_GT(decoded_luma(file).size(), size_t{720 * 480 * 20}) << name;
    }
}

/* The picture at which the disk was full may be there in part. */
TEST(OrkaRecord, OnAFullDiskItCountsNoMorePicturesThanItWrote)
{
    const std::string file = scratch("clip.avi");
    const Ending ending = run({ORKA_BOARD_PROGRAM, "run", "--", "sh", "-c",
                               "trap '' XFSZ; ulimit -f 200; exec \"$@\"", "sh", ORKA_RECORD_PROGRAM, file});
    EXPECT_EQ(ending.status, 1);
    std::smatch told;
    ASSERT_TRUE(std::regex_search(
        ending.out, told,
        std::regex("720x480, at most ([0-9]+) whole frames, ([0-9.]+) seconds, 0 dropped\n")))
        << ending.out;
    const int count = std::stoi(told[1]);
    const auto decoded = static_cast<int>(decoded_luma(file).size() / (720 * 480));
    EXPECT_TRUE(decoded == count || decoded == count + 1) << decoded << ending.out;
    EXPECT_NEAR(std::stod(told[2]), count / 30.0, 0.005);
    EXPECT_NE(ending.out.find("channels, at most "), std::string::npos) << ending.out;
}

TEST(OrkaRecord, ASignalEndsTheFileCleanly)
{
    for (const int number : {SIGINT, SIGTERM, SIGHUP}) {
        const std::string file = scratch("clip.avi");
        Process process({ORKA_BOARD_PROGRAM, "run", "--", ORKA_RECORD_PROGRAM, file});
        ASSERT_TRUE(waits_until_written(file, 100'000));
        process.signal(number);
        EXPECT_EQ(process.wait(), 0) << process.err();
        EXPECT_EQ(decoding_errors(file), "");
    }
}

TEST(OrkaRecord, WhatTheEncoderRefusesIsSaid)
{
    const Ending ending =
        record({scratch("clip.avi"), "--video", "H263", "--no-audio", "--size", "100x100", "--seconds", "1"});
    EXPECT_EQ(ending.status, 1);
    EXPECT_NE(ending.err.find("orka-record: the video encoder refused its setup: "), std::string::npos)
        << ending.err;
}

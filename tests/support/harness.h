/*
 * What every test of the library runs under: a scripted kernel, captured streams, and the count of what
 * leaks.
 */
#ifndef ORKA_TESTS_HARNESS_H
#define ORKA_TESTS_HARNESS_H

#include <gtest/gtest.h>
#include <string>
#include <vector>

#include "support/capture.h"
#include "support/kernel.h"

namespace orka_test {

class Harness {
  public:
    Harness();

    /* A required leak: mappings of /dev/mem or descriptors that the code under test keeps. */
    void allow_leaked_mappings(int count) { allowed_mappings_ += count; }
    void allow_leaked_descriptors(int count) { allowed_descriptors_ += count; }

    /*
     * All that is left to complain about, empty when all is well: lines on either stream that the test did
     * not take, descriptors and mappings more or fewer than before, and what the kernel's script does not
     * account for.
     */
    std::string complaints();

    Capture log;
    Kernel kernel;

  private:
    std::vector<std::string> descriptors_;
    int mappings_;
    int allowed_mappings_ = 0;
    int allowed_descriptors_ = 0;
};

/* The fixture: a harness for each test. */
class HarnessTest : public testing::Test {
  protected:
    void TearDown() override { EXPECT_EQ(harness.complaints(), ""); }

    Harness harness;
    Kernel &kernel = harness.kernel;
    Capture &log = harness.log;
};

} // namespace orka_test

#endif

/*
 * A fuzz target is one source that defines LLVMFuzzerTestOneInput and holds what it tests against a model or
 * against what must be true at any time. The driver beside it runs it over its corpus and made-up inputs in
 * the suite; clang's -fsanitize=fuzzer takes the same source.
 */
#ifndef ORKA_TESTS_FUZZ_H
#define ORKA_TESTS_FUZZ_H

#include <cstddef>
#include <cstdint>

#include "support/require.h"

extern "C" int LLVMFuzzerTestOneInput(const uint8_t *data, size_t size);

namespace orka_test {

/* No input of the driver's is longer; targets cut what is. */
constexpr size_t longest_input = 4096;

} // namespace orka_test

#endif

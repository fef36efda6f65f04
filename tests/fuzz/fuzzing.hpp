// What the fuzzers share. Each defines `LLVMFuzzerTestOneInput`, which takes one input apart, runs the code under test
// and requires what was promised of it; sanitizers see the rest. The parts of an input are taken by a
// FuzzedDataProvider: texts from its front, numbers from its back, and nothing when it is used up.
#pragma once

#include <fuzzer/FuzzedDataProvider.h>

#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <source_location>

namespace fuzzing {

using input = FuzzedDataProvider;

/// Ends the process, which makes the input a finding, unless `holds`.
inline void require(bool holds, std::source_location where = std::source_location::current()) {
  if (!holds) {
    std::fprintf(stderr, "%s:%u: what is required in %s does not hold\n", where.file_name(), where.line(),
                 where.function_name());
    std::abort();
  }
}

}  // namespace fuzzing

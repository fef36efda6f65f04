// Random test inputs that are the same in every run, and a failing one that says how to repeat it. Runs everywhere.
#pragma once

#include "random_numbers.hpp"

#include <gtest/gtest.h>

#include <cstdint>
#include <cstdlib>
#include <source_location>
#include <string>

namespace test_support {

/// A generator with a fixed seed. Failures on the thread that made it say the seed while it lives; another one can be
/// given by the environment variable QXFL_TEST_SEED. One object belongs to one thread.
class seeded_random : public random_numbers {
 public:
  static constexpr std::uint64_t default_seed = 20240229;

  explicit seeded_random(std::uint64_t seed = default_seed,
                         std::source_location where = std::source_location::current())
      : random_numbers(override_of(seed)),
        seed_(override_of(seed)),
        trace_(where.file_name(), static_cast<int>(where.line()), "random seed " + std::to_string(seed_)) {}

  std::uint64_t seed() const noexcept { return seed_; }

 private:
  static std::uint64_t override_of(std::uint64_t seed) {
    const char* const given = std::getenv("QXFL_TEST_SEED");
    return given != nullptr ? std::strtoull(given, nullptr, 0) : seed;
  }

  std::uint64_t seed_;
  testing::ScopedTrace trace_;
};

}  // namespace test_support

// Random test inputs that are the same in every run, and a failing one that says how to repeat it. Runs everywhere.
#pragma once

#include <gtest/gtest.h>

#include <cstddef>
#include <cstdint>
#include <cstdlib>
#include <random>
#include <source_location>
#include <string>

namespace test_support {

/// A generator with a fixed seed. Failures on the thread that made it say the seed while it lives; another one can be
/// given by the environment variable QXFL_TEST_SEED. One object belongs to one thread.
class seeded_random {
 public:
  static constexpr std::uint64_t default_seed = 20240229;

  explicit seeded_random(std::uint64_t seed = default_seed,
                         std::source_location where = std::source_location::current())
      : seed_(override_of(seed)),
        engine_(seed_),
        trace_(where.file_name(), static_cast<int>(where.line()), "random seed " + std::to_string(seed_)) {}

  std::uint64_t seed() const noexcept { return seed_; }
  /// Any 64 bits.
  std::uint64_t bits() { return engine_(); }
  /// 0 to `limit` - 1; `limit` is not 0. Computed here, so that it is the same with every standard library.
  std::uint64_t below(std::uint64_t limit) { return engine_() % limit; }
  /// `least` to `most`, both included.
  std::uint64_t between(std::uint64_t least, std::uint64_t most) { return least + below(most - least + 1); }
  /// True in `percent` of 100 cases.
  bool chance(unsigned percent) { return below(100) < percent; }
  /// One element of a range that is not empty and has random access.
  template <class Range>
  const auto& pick(const Range& from) {
    return from[static_cast<std::size_t>(below(std::size(from)))];
  }
  /// `length` characters, each one of `alphabet`.
  template <class String>
  String text(std::size_t length, const String& alphabet) {
    String made;
    while (made.size() != length) {
      made.push_back(pick(alphabet));
    }
    return made;
  }

 private:
  static std::uint64_t override_of(std::uint64_t seed) {
    const char* const given = std::getenv("QXFL_TEST_SEED");
    return given != nullptr ? std::strtoull(given, nullptr, 0) : seed;
  }

  std::uint64_t seed_;
  std::mt19937_64 engine_;
  testing::ScopedTrace trace_;
};

}  // namespace test_support

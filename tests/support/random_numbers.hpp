// Random numbers that are the same in every run, without anything of a test's. Runs everywhere.
#pragma once

#include <cstddef>
#include <cstdint>
#include <iterator>
#include <random>

namespace test_support {

/// One object belongs to one thread.
class random_numbers {
 public:
  explicit random_numbers(std::uint64_t seed) : engine_(seed) {}

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
  std::mt19937_64 engine_;
};

}  // namespace test_support

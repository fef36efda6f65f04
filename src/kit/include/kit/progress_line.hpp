// A line that shows how far long work is, and is written over again and again: nothing in the first second, and then
// twice a second at most, so that it may be told of every step.
//
//   kit::progress_line line(kit::console().err());
//   for (...) line.show_bytes(done, total);          // "12.5 of 40.0 MiB"
//
// Thread safety: none; one thread at a time.
#pragma once

#include <kit/export.hpp>

#include <chrono>
#include <cstddef>
#include <cstdint>
#include <functional>
#include <optional>
#include <ostream>
#include <string>

namespace foundation::kit {

/// A line that is written over.
class KIT_API progress_line {
 public:
  /// A moment, by the clock that nobody sets.
  using time_point = std::chrono::steady_clock::time_point;

  /// `out` must outlive the object. `now` is asked for the time.
  explicit progress_line(std::ostream& out, std::function<time_point()> now = &std::chrono::steady_clock::now);
  progress_line(const progress_line&) = delete;
  progress_line& operator=(const progress_line&) = delete;
  /// Ends the line, if one has been shown.
  ~progress_line();

  /// Shows `text`, which is UTF-8 and has no line end, if it is time to. Each code point counts as one column.
  void show(const std::string& text);
  /// The same for `done` bytes of `total`, if that is known.
  void show_bytes(std::uint64_t done, std::optional<std::uint64_t> total = std::nullopt);

 private:
  bool is_due();
  void write(const std::string& text);

  std::ostream& out_;
  const std::function<time_point()> now_;
  time_point next_;         // when to write again
  std::size_t length_ = 0;  // of what is shown, in code points
};

}  // namespace foundation::kit

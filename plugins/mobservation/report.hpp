// The report of the plug-in as text, in a buffer of fixed size: it is written while the process ends, when its heap may
// be in any state.
#pragma once

#include "counters.hpp"

#include <array>
#include <cstdint>
#include <string_view>

namespace mobservation {

/// Text that is cut when it is full.
class report_text {
 public:
  void put(std::string_view text) noexcept;
  /// In decimal, with blanks in front up to `width` characters.
  void put(std::int64_t number, std::size_t width = 0) noexcept;
  std::string_view view() const noexcept { return {buffer_.data(), length_}; }

 private:
  std::array<char, 8192> buffer_;  ///< A table of all classes takes less.
  std::size_t length_ = 0;
};

/// A heading, a line for each class in which something has happened, and the sum of all.
void put_table(report_text& text, const counters& counted) noexcept;

}  // namespace mobservation

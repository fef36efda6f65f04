#include "report.hpp"

#include <algorithm>
#include <charconv>
#include <cstring>

namespace mobservation {

namespace {

constexpr std::size_t column = 16;  ///< characters

void put_right(report_text& text, std::string_view word) noexcept {
  constexpr std::string_view blanks = "                ";
  static_assert(blanks.size() == column);
  text.put(blanks.substr(std::min(word.size(), column)));
  text.put(word);
}

void put_figures(report_text& text, const figures& read) noexcept {
  for (const std::uint64_t number : {read.allocations, read.allocated, read.frees}) {
    text.put(static_cast<std::int64_t>(number), column);
  }
  for (const std::int64_t number : {read.live_blocks(), read.live, read.peak}) {
    text.put(number, column);
  }
  text.put("\n");
}

}  // namespace

void report_text::put(std::string_view text) noexcept {
  const std::size_t fitting = std::min(text.size(), buffer_.size() - length_);
  std::memcpy(buffer_.data() + length_, text.data(), fitting);
  length_ += fitting;
}

void report_text::put(std::int64_t number, std::size_t width) noexcept {
  char digits[24];
  const auto end = std::to_chars(std::begin(digits), std::end(digits), number).ptr;
  const std::string_view written(digits, static_cast<std::size_t>(end - digits));
  if (width != 0) {
    put_right(*this, written);
  } else {
    put(written);
  }
}

void put_table(report_text& text, const counters& counted) noexcept {
  for (const char* const heading :
       {"block up to", "allocations", "bytes", "frees", "live", "live bytes", "peak bytes"}) {
    put_right(text, heading);
  }
  text.put("\n");
  for (std::size_t which = 0; which != size_classes; ++which) {
    const figures read = counted.of_class(which);
    if (read.allocations == 0 && read.frees == 0) {
      continue;
    }
    text.put(std::int64_t{1} << which, column);
    put_figures(text, read);
  }
  put_right(text, "all");
  put_figures(text, counted.total());
}

}  // namespace mobservation

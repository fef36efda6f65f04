// A line of a report, or a piece of one, put together in place: no allocation, and no stream whose flags or locale
// could change its digits.
#pragma once

#include <array>
#include <cstddef>
#include <cstdint>
#include <ostream>
#include <string_view>

namespace foundation::core::diag {

class report_line {
 public:
  /// What does not fit is dropped.
  report_line& put(std::string_view text) noexcept {
    for (const char c : text) {
      put(c);
    }
    return *this;
  }
  report_line& put(char c) noexcept {
    if (size_ < text_.size()) {
      text_[size_++] = c;
    }
    return *this;
  }
  report_line& repeat(std::size_t count, char c) noexcept {
    while (count-- != 0) {
      put(c);
    }
    return *this;
  }
  /// In decimal, right-aligned in `width` columns behind `fill`.
  report_line& decimal(std::uint64_t value, std::size_t width = 1, char fill = ' ') noexcept {
    return number(value, 10, width, fill);
  }
  /// In lower-case hexadecimal, filled with zeros to `width` digits.
  report_line& hexadecimal(std::uint64_t value, std::size_t width = 1) noexcept {
    return number(value, 16, width, '0');
  }

  std::string_view view() const noexcept { return {text_.data(), size_}; }

 private:
  report_line& number(std::uint64_t value, unsigned base, std::size_t width, char fill) noexcept {
    char digits[20];  // of the largest number in decimal
    std::size_t first = sizeof digits;
    do {
      digits[--first] = "0123456789abcdef"[value % base];
    } while ((value /= base) != 0);
    const std::size_t count = sizeof digits - first;
    return repeat(width > count ? width - count : 0, fill).put({digits + first, count});
  }

  std::array<char, 128> text_;
  std::size_t size_ = 0;
};

/// Writes text as it is: no width or fill of the stream applies.
inline void write(std::ostream& os, std::string_view text) {
  os.write(text.data(), static_cast<std::streamsize>(text.size()));
}

}  // namespace foundation::core::diag

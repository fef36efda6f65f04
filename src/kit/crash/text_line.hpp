// A line of text that is put together in place, for a process that cannot allocate any more. Always zero-terminated;
// what does not fit is dropped. Belongs to one thread at a time.
#pragma once

#include <cstddef>
#include <cstdint>
#include <string_view>

namespace foundation::kit {

class text_line {
 public:
  text_line& put(char c) noexcept {
    if (size_ < longest) {
      text_[size_++] = c;
      text_[size_] = '\0';
    }
    return *this;
  }
  text_line& put(std::string_view text) noexcept {
    for (const char c : text) {
      put(c);
    }
    return *this;
  }
  text_line& decimal(std::uint64_t value) noexcept { return number(value, 10, 1); }
  /// "0x" and at least `digits` capital digits, which are 16 at most.
  text_line& hexadecimal(std::uint64_t value, std::size_t digits) noexcept {
    return put("0x").number(value, 16, digits);
  }

  const char* c_str() const noexcept { return text_; }
  std::string_view view() const noexcept { return {text_, size_}; }
  void clear() noexcept { text_[size_ = 0] = '\0'; }

 private:
  text_line& number(std::uint64_t value, unsigned base, std::size_t least_digits) noexcept {
    char digits[20];  // of the largest number in decimal
    std::size_t first = sizeof digits;
    do {
      digits[--first] = "0123456789ABCDEF"[value % base];
      value /= base;
    } while (value != 0 || sizeof digits - first < least_digits);
    return put(std::string_view(digits + first, sizeof digits - first));
  }

  static constexpr std::size_t longest = 2047;
  std::size_t size_ = 0;
  char text_[longest + 1] = {};
};

}  // namespace foundation::kit

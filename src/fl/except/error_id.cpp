#include "except/error_id.hpp"

namespace foundation::core::except {

namespace {

// Those of the C library would ask the locale.
constexpr bool is_letter(char c) {
  return (c >= 'a' && c <= 'z') || (c >= 'A' && c <= 'Z');
}

constexpr bool is_digit(char c) {
  return c >= '0' && c <= '9';
}

}  // namespace

bool is_error_id(std::string_view id) noexcept {
  std::size_t names = 0;
  bool name_begins = true;
  for (const char c : id) {
    if (name_begins) {
      if (!is_letter(c)) {
        return false;
      }
      name_begins = false;
      ++names;
    } else if (c == ':') {
      name_begins = true;
    } else if (!is_letter(c) && !is_digit(c) && c != '_') {
      return false;
    }
  }
  return names >= 2 && !name_begins;
}

std::string message_error_id(const std::string& catalog, const std::string& mnemonic) {
  return (catalog == "TESSEL:legacy_two_part" ? "TESSEL" : catalog) + ":" + mnemonic;
}

}  // namespace foundation::core::except

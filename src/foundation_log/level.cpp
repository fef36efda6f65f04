// Reading of level words. Pure.

#include <foundation_log/level.hpp>

#include "severity_names.hpp"
#include "text.hpp"

#include <algorithm>
#include <charconv>
#include <optional>
#include <stdexcept>
#include <string>

namespace foundation::log {

namespace {

[[noreturn]] void fail(std::string_view part, std::string_view what) {
  throw std::invalid_argument("\"" + std::string(part) + "\" " + std::string(what));
}

char lower(char c) {
  return c >= 'A' && c <= 'Z' ? static_cast<char>(c - 'A' + 'a') : c;
}

bool equal_names(std::string_view left, std::string_view right) {
  return std::equal(left.begin(), left.end(), right.begin(), right.end(),
                    [](char l, char r) { return lower(l) == lower(r); });
}

std::optional<unsigned> named(std::string_view name) {
  if (equal_names(name, "all")) {
    return severity_mask;
  }
  if (equal_names(name, "none")) {
    return 0;
  }
  for (const auto& known : severity_names) {
    if (equal_names(name, known.name)) {
      return known.flag;
    }
  }
  return std::nullopt;
}

unsigned number(std::string_view text) {
  const bool hexadecimal = text.size() > 2 && text[0] == '0' && lower(text[1]) == 'x';
  const char* const end = text.data() + text.size();
  unsigned value = 0;
  const auto read = std::from_chars(text.data() + (hexadecimal ? 2 : 0), end, value, hexadecimal ? 16 : 10);
  if (read.ec == std::errc::result_out_of_range || (read.ec == std::errc() && value > level_word_mask)) {
    fail(text, "is too large; expected at most 0x3fffffff");
  }
  if (read.ec != std::errc() || read.ptr != end) {
    fail(text, "is not a number; expected decimal digits, or 0x and hexadecimal ones");
  }
  return value;
}

unsigned term(std::string_view text) {
  if (text.empty()) {
    throw std::invalid_argument("a severity is missing; expected a name or a number");
  }
  if (text[0] >= '0' && text[0] <= '9') {
    return number(text);
  }
  if (const auto value = named(text)) {
    return *value;
  }
  std::string expected = "is no severity; expected a number or one of ";
  for (const auto& known : severity_names) {
    expected.append(known.name).append(", ");
  }
  fail(text, expected + "all, none");
}

unsigned mask_part(std::string_view text) {
  unsigned word = 0;
  for (;;) {
    const auto sign = text.find_first_of("|+");
    word |= term(trimmed(text.substr(0, sign)));
    if (sign == std::string_view::npos) {
      return word;
    }
    text.remove_prefix(sign + 1);
  }
}

bool is_one_flag_or_none(unsigned severity) {
  return (severity & (severity - 1)) == 0;
}

}  // namespace

unsigned parse_level(std::string_view text) {
  const auto colon = text.find(':');
  const auto mask = trimmed(text.substr(0, colon));
  if (colon == std::string_view::npos && mask.empty()) {
    throw std::invalid_argument("the level is empty");
  }
  unsigned word = mask.empty() ? 0 : mask_part(mask);
  if (colon != std::string_view::npos) {
    const auto check_text = trimmed(text.substr(colon + 1));
    const unsigned check = term(check_text);
    if (check > severity_mask) {
      fail(check_text, "is not a severity; expected at most 0x7fff");
    }
    if (word > severity_mask) {
      fail(text, "gives the severity of checks twice");
    }
    word |= check << check_shift;
  }
  if (!is_one_flag_or_none(word >> check_shift)) {
    fail(text, "gives checks more than one severity; expected one flag");
  }
  return word;
}

}  // namespace foundation::log

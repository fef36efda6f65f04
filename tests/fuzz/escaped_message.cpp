// What is escaped, of a report's message and of a log's record: nothing but what is allowed there, and no more lost
// than what does not fit.
#include "diag/report/escaped_message.hpp"

#include <i18n/convert.hpp>

#include "fuzzing.hpp"
#include "record_format.hpp"
#include "reference_text.hpp"

#include <cstdio>
#include <cstring>

namespace {

using test_support::first_character;

void check_report(const std::u16string& message) {
  std::string expected;
  for (const char16_t unit : message) {
    char escaped[7] = {static_cast<char>(unit)};
    if (unit > 0x7F) {
      std::snprintf(escaped, sizeof escaped, "\\u%04X", static_cast<unsigned>(unit));
    }
    expected.append(escaped, unit > 0x7F ? 6 : 1);
  }
  expected.resize(512);  // Zeros behind it.
  expected[511] = '\0';
  const std::vector<char16_t> exact(message.begin(), message.end());
  const foundation::core::diag::escaped_message made({exact.data(), exact.size()});
  fuzzing::require(std::memcmp(made.text, expected.data(), 512) == 0);
}

/// The text that escapes stand for, if there was no backslash in it.
std::string unescaped(std::string_view shown) {
  std::string text;
  while (!shown.empty()) {
    const char kind = shown[0] == '\\' ? shown.at(1) : '\0';
    const std::size_t digits = kind == 'x' ? 2 : kind == 'u' ? 4 : 0;
    const auto number = [&] { return std::stoul(std::string(shown.substr(2, digits)), nullptr, 16); };
    text += kind == 'n'   ? "\n"
            : kind == 'r' ? "\r"
            : kind == 'x' ? std::string(1, static_cast<char>(number()))
            : kind == 'u' ? fl::i18n::ustring_to_utf8(test_support::units_of(static_cast<char32_t>(number())))
                          : std::string(shown.substr(0, 1));
    shown.remove_prefix(kind == '\0' ? 1 : 2 + digits);
  }
  return text;
}

void check_record(const std::string& text) {
  const std::string head = "2031-05-07 09:03:01.004211 1:2 [x] 1024: ";
  const std::string line = foundation::log::format_record({{2031, 5, 7, 9, 3, 1, 4211}, 1, 2, "x", 1024, 0, text});
  fuzzing::require(line.starts_with(head) && line.ends_with('\n'));
  const std::string shown = line.substr(head.size(), line.size() - head.size() - 1);
  for (std::string_view rest = shown; !rest.empty();) {
    const first_character first = test_support::first_of_utf8(rest);
    fuzzing::require(first.point.has_value());
    const char32_t point = *first.point;
    fuzzing::require(point == '\t' || (point >= 0x20 && (point < 0x7F || point >= 0xA0)));
    fuzzing::require(point != 0x2028 && point != 0x2029);
    rest.remove_prefix(first.used);
  }
  fuzzing::require(text.find('\\') != std::string::npos || unescaped(shown) == text);
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  std::u16string message(size / 2, u'\0');
  std::memcpy(message.data(), data, size / 2 * 2);
  check_report(message);
  check_record({reinterpret_cast<const char*>(data), size});
  return 0;
}

// From names of encodings to code page numbers. Thread safety: pure functions over constant tables.
#pragma once

#include <optional>
#include <string_view>

namespace fl::i18n::detail {

/// Numbers of the encodings that this library converts by itself. All but the last two are the system's own numbers.
namespace code_page {
constexpr unsigned utf16_little = 1200;
constexpr unsigned utf16_big = 1201;
constexpr unsigned utf32_little = 12000;
constexpr unsigned utf32_big = 12001;
constexpr unsigned ascii = 20127;
constexpr unsigned gb18030 = 54936;  // Converted by the system, but with sequences of up to four bytes.
constexpr unsigned utf8 = 65001;
constexpr unsigned utf16_by_mark = 0x10000;  // Beyond the system's numbers, which have 16 bits.
constexpr unsigned utf32_by_mark = 0x10001;
}  // namespace code_page

/// The number for a name, or nothing if the name is unknown. The system may still lack the code page.
std::optional<unsigned> find_code_page(std::string_view name);

}  // namespace fl::i18n::detail

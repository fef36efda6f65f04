// From names of encodings to code page numbers. Thread safety: pure functions over constant tables.
#pragma once

#include <optional>
#include <string_view>

namespace fl::i18n::detail {

/// Numbers of the encodings that are not simply a code page of the system. Those below 0x10000 are the system's own
/// numbers.
namespace code_page {
constexpr unsigned gbk = 936;
constexpr unsigned utf16_little = 1200;
constexpr unsigned utf16_big = 1201;
constexpr unsigned utf32_little = 12000;
constexpr unsigned utf32_big = 12001;
constexpr unsigned ascii = 20127;
constexpr unsigned euc_jp = 20932;
constexpr unsigned iso_8859_10 = 28600;
constexpr unsigned iso_8859_11 = 28601;
constexpr unsigned iso_8859_14 = 28604;
constexpr unsigned iso_8859_16 = 28606;
constexpr unsigned gb18030 = 54936;
constexpr unsigned utf8 = 65001;
constexpr unsigned utf16_by_mark = 0x10000;
constexpr unsigned utf32_by_mark = 0x10001;
constexpr unsigned utf8_by_mark = 0x10002;
constexpr unsigned active = 0x10003;      // Whichever is active.
constexpr unsigned iso_8859_7 = 0x10004;  // The system's 28597 and 28598 are not quite these two.
constexpr unsigned iso_8859_8 = 0x10005;
}  // namespace code_page

/// The number for a name, or nothing if the name is unknown. The system may still lack the code page.
std::optional<unsigned> find_code_page(std::string_view name);

}  // namespace fl::i18n::detail

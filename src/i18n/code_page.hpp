// What the system's code pages are asked for. Implemented in windows/code_page.cpp. Thread safety: pure functions.
#pragma once

#include <i18n/ustring.hpp>

#include <cstddef>
#include <string>
#include <string_view>

namespace fl::i18n::detail {

/// Most bytes or units that one conversion takes: the system counts in `int`, and a unit gives up to four bytes.
constexpr std::size_t code_page_limit = (std::size_t{1} << 29) - 1;

/// Number of the code page in which programs of this system without Unicode read and write text.
unsigned active_code_page();

/// Whether the system can convert from and to the code page.
bool has_code_page(unsigned page);

/// Precondition of both: `has_code_page(page)`, and the page is a single-byte or double-byte one or GB18030.
/// They throw `std::length_error` beyond `code_page_limit`, and `boost::system::system_error`.
ustring decode_code_page(std::string_view bytes, unsigned page);
std::string encode_code_page(const ustring& text, unsigned page);

}  // namespace fl::i18n::detail

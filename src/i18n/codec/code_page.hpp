// What the system's code pages are asked for. Implemented in windows/code_page.cpp. Thread safety: pure functions.
#pragma once

#include "codec/code_page_table.hpp"

namespace fl::i18n::detail {

/// Number of the code page in which programs of this system without Unicode read and write text. May be that of UTF-8.
unsigned active_code_page();

/// Whether the system can convert from and to the code page.
bool has_code_page(unsigned page);

/// All that the code page maps. Takes thousands of calls of the system. Precondition: `has_code_page(page)`, and it is
/// a single-byte or double-byte one. Throws `boost::system::system_error` if the system refuses.
code_page_table read_code_page(unsigned page);

}  // namespace fl::i18n::detail

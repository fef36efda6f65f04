// Parts of ISO-8859 that the system has no code page for, or one that differs in some characters. Thread safety: pure
// functions.
#pragma once

#include "codec/code_page_table.hpp"
#include "codec/encoding_table.hpp"

#include <optional>

namespace fl::i18n::detail {

/// The table of ISO-8859-7, -8, -10, -11, -14 and -16; nothing for any other encoding.
std::optional<code_page_table> own_table(unsigned page);

}  // namespace fl::i18n::detail

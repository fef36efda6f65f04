// Parts of ISO-8859 that the system has no code page for, or one that differs in some characters.
//
// Any number of threads may ask; the tables are made at first use and then kept for ever. Throws `std::bad_alloc`.
#pragma once

#include "codec/text_encoding.hpp"

namespace fl::i18n::detail {

text_encoding iso_8859_7();
text_encoding iso_8859_8();
text_encoding iso_8859_10();
text_encoding iso_8859_11();
text_encoding iso_8859_14();
text_encoding iso_8859_16();

}  // namespace fl::i18n::detail

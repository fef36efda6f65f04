// The encodings that convert by rules alone. Thread safety: pure functions.
#pragma once

#include "codec/text_encoding.hpp"

namespace fl::i18n::detail {

text_encoding ascii();
text_encoding latin1();

text_encoding utf8();
text_encoding utf16_little();
text_encoding utf16_big();
text_encoding utf32_little();
text_encoding utf32_big();

/// With a mark, which need not be there when it is read.
text_encoding utf8_by_mark();
/// Big-endian unless a mark says otherwise; written with a mark and little-endian.
text_encoding utf16_by_mark();
text_encoding utf32_by_mark();

}  // namespace fl::i18n::detail

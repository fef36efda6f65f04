// The codecs of UTF-8; utf8_decode.hpp and utf8_encode.hpp have the functions. Ill-formed subparts are those of
// i18n/convert.hpp. A byte order mark is a character like any other.
//
// Thread safety: pure functions.
#pragma once

#include "codec/codec.hpp"

namespace fl::i18n::detail {

const decoder& utf8_decoder() noexcept;
const encoder& utf8_encoder() noexcept;

}  // namespace fl::i18n::detail

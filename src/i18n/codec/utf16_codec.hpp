// The codecs of UTF-16 as bytes. Ill-formed subparts are those of i18n/convert.hpp. A byte order mark is a character
// like any other.
//
// Thread safety: pure functions.
#pragma once

#include "codec/byte_order.hpp"
#include "codec/codec.hpp"

namespace fl::i18n::detail {

const decoder& utf16_decoder(byte_order order) noexcept;
const encoder& utf16_encoder(byte_order order) noexcept;

}  // namespace fl::i18n::detail

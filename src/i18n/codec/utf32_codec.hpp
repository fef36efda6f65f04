// The codecs of UTF-32 as bytes. A unit of four bytes that is no code point is ill-formed. A byte order mark is a
// character like any other.
//
// Thread safety: pure functions.
#pragma once

#include "codec/byte_order.hpp"
#include "codec/codec.hpp"

namespace fl::i18n::detail {

const decoder& utf32_decoder(byte_order order) noexcept;
const encoder& utf32_encoder(byte_order order) noexcept;

}  // namespace fl::i18n::detail

// The codecs of UTF-8, UTF-16, UTF-32 and US-ASCII. Ill-formed subparts are those of i18n/convert.hpp; in UTF-32 a unit
// of four bytes that is no code point, in US-ASCII one byte or unit. A byte order mark is a character like any other.
//
// Thread safety: pure functions.
#pragma once

#include "codec/codec.hpp"

namespace fl::i18n::detail {

enum class byte_order { little, big };

const decoder& utf8_decoder() noexcept;
const encoder& utf8_encoder() noexcept;
const decoder& utf16_decoder(byte_order order) noexcept;
const encoder& utf16_encoder(byte_order order) noexcept;
const decoder& utf32_decoder(byte_order order) noexcept;
const encoder& utf32_encoder(byte_order order) noexcept;
const decoder& ascii_decoder() noexcept;
/// What is beyond US-ASCII becomes "?", one for each UTF-16 unit.
const encoder& ascii_encoder() noexcept;

}  // namespace fl::i18n::detail

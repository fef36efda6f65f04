// The codecs of ISO-8859-1: each byte is the unit of the same number. What is beyond U+00FF is ill-formed, one UTF-16
// unit at a time.
//
// Thread safety: pure functions.
#pragma once

#include "codec/codec.hpp"

namespace fl::i18n::detail {

const decoder& latin1_decoder() noexcept;
/// What is beyond U+00FF becomes "?".
const encoder& latin1_encoder() noexcept;

}  // namespace fl::i18n::detail

// The codecs of US-ASCII. What is beyond it is ill-formed, one byte or UTF-16 unit at a time.
//
// Thread safety: pure functions.
#pragma once

#include "codec/codec.hpp"

namespace fl::i18n::detail {

const decoder& ascii_decoder() noexcept;
/// What is beyond US-ASCII becomes "?", one for each UTF-16 unit.
const encoder& ascii_encoder() noexcept;

}  // namespace fl::i18n::detail

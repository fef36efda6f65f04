// Finds what converts a named encoding. Any number of threads may ask.
#pragma once

#include "codec/text_encoding.hpp"

#include <string_view>

namespace fl::i18n::detail {

/// Throws as `decode` of i18n/encoding.hpp.
text_encoding find_encoding(std::string_view name);

/// The encoding of the active code page. Throws as above.
text_encoding active_encoding();

}  // namespace fl::i18n::detail

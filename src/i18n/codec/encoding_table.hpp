// The encodings that have a name. Thread safety: pure functions over a constant table.
#pragma once

#include "codec/text_encoding.hpp"

#include <string_view>

namespace fl::i18n::detail {

struct encoding_row {
  /// A blank between each two: in small letters and digits only, or numbers, which also may stand behind a prefix.
  std::string_view names;
  unsigned page;           ///< the number that the system has for the encoding; `no_page` if it has none
  text_encoding (*get)();  ///< null if the encoding is what the system's page makes of it
};

constexpr unsigned no_page = ~0U;

/// Null if no row has the name.
const encoding_row* find_row(std::string_view name);

/// What converts the encoding. Throws as `page_encoding`.
text_encoding encoding_of(const encoding_row& row);

}  // namespace fl::i18n::detail

// What converts text of one encoding: its codecs, and the byte order marks at its start. A plain value.
#pragma once

#include "codec/codec.hpp"

#include <cstddef>
#include <string_view>

namespace fl::i18n::detail {

/// A byte order mark that a text may begin with, and how it then goes on.
struct byte_order_mark {
  std::string_view bytes;
  const decoder* rest;  ///< not null
};

/// Longest mark, in bytes.
constexpr std::size_t longest_mark = 4;

struct text_encoding {
  const decoder* from_bytes = nullptr;  ///< for a text that begins with no mark of `marks`; not null
  const encoder* to_bytes = nullptr;    ///< not null
  /// The marks that are removed from the start of a text: up to two, of which none begins with the other one. The first
  /// is written before a text.
  byte_order_mark marks[2] = {};
  std::size_t mark_count = 0;

  const byte_order_mark* begin() const noexcept { return marks; }
  const byte_order_mark* end() const noexcept { return marks + mark_count; }
};

}  // namespace fl::i18n::detail

// Codecs together with the table that they refer to. Thread safety: immutable.
#pragma once

#include "codec/code_page_table.hpp"
#include "codec/table_codec.hpp"
#include "codec/text_encoding.hpp"

#include <utility>

namespace fl::i18n::detail {

template <class Table, class Decoder, class Encoder>
class owned_codecs {
 public:
  explicit owned_codecs(code_page_table&& table) : table_(std::move(table)), decoder_(table_), encoder_(table_) {}
  owned_codecs(const owned_codecs&) = delete;
  owned_codecs& operator=(const owned_codecs&) = delete;

  text_encoding encoding() const noexcept { return {&decoder_, &encoder_}; }

 private:
  const Table table_;
  const Decoder decoder_;
  const Encoder encoder_;
};

using owned_table_codecs = owned_codecs<code_page_table, table_decoder, table_encoder>;

}  // namespace fl::i18n::detail

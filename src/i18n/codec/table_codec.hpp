// Codecs of the encodings that a code_page_table describes.
//
// Decoding, a byte that begins no character is ill-formed by itself. Encoding, a unit that is not in the table is, each
// half of a surrogate pair for itself.
//
// Thread safety: as in codec.hpp. The table belongs to someone else and outlives the codec.
#pragma once

#include "codec/code_page_table.hpp"
#include "codec/codec.hpp"

namespace fl::i18n::detail {

class table_decoder : public decoder {
 public:
  explicit table_decoder(const code_page_table& table) : table_(table), extends_ascii_(table.extends_ascii()) {}

  stopped convert(const char*& from, const char* end, char16_t*& to, char16_t* to_end,
                  bool last) const noexcept override;
  std::u16string_view replacement() const noexcept override { return u"\uFFFD"; }

 private:
  const code_page_table& table_;
  bool extends_ascii_;  ///< runs of US-ASCII need no table
};

class table_encoder : public encoder {
 public:
  explicit table_encoder(const code_page_table& table) : table_(table), extends_ascii_(table.extends_ascii()) {}

  stopped convert(const char16_t*& from, const char16_t* end, char*& to, char* to_end,
                  bool last) const noexcept override;
  std::string_view replacement() const noexcept override { return table_.default_character; }

 private:
  const code_page_table& table_;
  bool extends_ascii_;
};

}  // namespace fl::i18n::detail

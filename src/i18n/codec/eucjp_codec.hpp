// Codecs of EUC-JP over the system's code page 20932.
//
// Both write JIS X 0208 as two bytes from A1 to FE and half-width katakana as 8E and one byte. What EUC-JP writes of
// JIS X 0212 as 8F b1 b2 is the pair b1, b2 & 7F in the page.
//
// Thread safety: as in codec.hpp. The table, the page's, belongs to someone else and outlives the codec.
#pragma once

#include "codec/code_page_table.hpp"
#include "codec/codec.hpp"

namespace fl::i18n::detail {

class eucjp_decoder : public decoder {
 public:
  explicit eucjp_decoder(const code_page_table& table) : table_(table) {}

  stopped convert(const char*& from, const char* end, char16_t*& to, char16_t* to_end,
                  bool last) const noexcept override;
  std::u16string_view replacement() const noexcept override { return u"\uFFFD"; }

 private:
  const code_page_table& table_;
};

class eucjp_encoder : public encoder {
 public:
  explicit eucjp_encoder(const code_page_table& table) : table_(table) {}

  stopped convert(const char16_t*& from, const char16_t* end, char*& to, char* to_end,
                  bool last) const noexcept override;
  std::string_view replacement() const noexcept override { return "?"; }

 private:
  const code_page_table& table_;
};

}  // namespace fl::i18n::detail

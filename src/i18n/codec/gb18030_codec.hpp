// GB18030, in which every character is one, two or four bytes. The system's own code page for it is missing on many
// systems. Only two-byte characters come from the system: those of code page 936, but for the private ones and a few
// that GB18030 maps elsewhere. What a page lacks of them can be neither read nor written then; all else stays as it is.
//
// Thread safety: as in codec.hpp.
#pragma once

#include "codec/code_page_table.hpp"
#include "codec/codec.hpp"

#include <cstdint>
#include <vector>

namespace fl::i18n::detail {

struct gb18030_table {
  explicit gb18030_table(code_page_table page_936);

  code_page_table pairs;             ///< of one and two bytes
  std::vector<char16_t> four_bytes;  ///< the unit of each four-byte sequence of the first plane, from 81 30 81 30 on
  std::vector<std::uint16_t> ranks;  ///< for each unit of `four_bytes` its place there, 0 for others
};

class gb18030_decoder : public decoder {
 public:
  explicit gb18030_decoder(const gb18030_table& table) : table_(table) {}

  stopped convert(const char*& from, const char* end, char16_t*& to, char16_t* to_end,
                  bool last) const noexcept override;
  std::u16string_view replacement() const noexcept override { return u"\uFFFD"; }

 private:
  const gb18030_table& table_;
};

/// A lone surrogate is ill-formed, and so would be what the page lacks; all else can be encoded.
class gb18030_encoder : public encoder {
 public:
  explicit gb18030_encoder(const gb18030_table& table) : table_(table) {}

  stopped convert(const char16_t*& from, const char16_t* end, char*& to, char* to_end,
                  bool last) const noexcept override;
  /// U+FFFD.
  std::string_view replacement() const noexcept override { return "\x84\x31\xA4\x37"; }

 private:
  const gb18030_table& table_;
};

}  // namespace fl::i18n::detail

// Thread safety: as in the header.
#include "codec/table_codec.hpp"

#include "codec/conversion_loop.hpp"

namespace fl::i18n::detail {

stopped table_decoder::convert(const char*& from, const char* end, char16_t*& to, char16_t* to_end,
                               bool last) const noexcept {
  const auto read = [this](const char* at, const char* at_end) {
    const auto byte = [at](std::size_t index) { return static_cast<unsigned char>(at[index]); };
    std::size_t length = 1;
    char16_t unit = table_.unit(byte(0));
    if (unit == code_page_table::lead_byte) {
      if (at_end - at < 2) {
        return character<char16_t, 1>{};
      }
      length = 2;
      unit = table_.unit(byte(0), byte(1));
    }
    return character<char16_t, 1>{length, unit != code_page_table::no_character, {unit}};
  };
  return convert_characters(from, end, to, to_end, last, extends_ascii_, decoding_step(table_), read);
}

stopped table_encoder::convert(const char16_t*& from, const char16_t* end, char*& to, char* to_end,
                               bool last) const noexcept {
  const auto read = [this](const char16_t* at, const char16_t*) {
    const std::uint16_t code = table_.codes[*at];
    const char low = static_cast<char>(code);
    if (code > 0xFF) {
      return character<char, 2>{1, 2, {static_cast<char>(code >> 8), low}};
    }
    return character<char, 2>{1, code != code_page_table::no_code || *at == 0, {low}};
  };
  return convert_characters(from, end, to, to_end, last, extends_ascii_, encoding_step(table_), read);
}

}  // namespace fl::i18n::detail

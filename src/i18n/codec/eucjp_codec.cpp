// Thread safety: as in the header.
#include "codec/eucjp_codec.hpp"

#include "codec/conversion_loop.hpp"

namespace fl::i18n::detail {
namespace {

constexpr unsigned char katakana_lead = 0x8E;    // Before one byte.
constexpr unsigned char jis_x_0212_lead = 0x8F;  // Before two bytes.

constexpr bool is_trail(unsigned char byte) {
  return byte >= 0xA1 && byte <= 0xFE;
}

character<char16_t, 1> one_unit(std::size_t length, char16_t unit) {
  return {length, unit != code_page_table::no_character, {unit}};
}

constexpr character<char16_t, 1> ill_formed = {1, 0, {}};

character<char16_t, 1> read_character(const char* from, const char* end, const code_page_table& table) {
  const auto byte = [from](std::size_t index) { return static_cast<unsigned char>(from[index]); };
  const auto available = static_cast<std::size_t>(end - from);
  const bool is_three = byte(0) == jis_x_0212_lead;
  if (!is_three && byte(0) != katakana_lead && !is_trail(byte(0))) {
    return one_unit(1, table.unit(byte(0)));
  }
  if (available > 1 && !is_trail(byte(1))) {
    return ill_formed;
  }
  const std::size_t length = is_three ? 3 : 2;
  if (available < length) {
    return {};
  }
  if (!is_three) {
    return one_unit(length, table.unit(byte(0), byte(1)));
  }
  return is_trail(byte(2)) ? one_unit(length, table.unit(byte(1), byte(2) & 0x7F)) : ill_formed;
}

character<char, 3> bytes_of(char16_t unit, const code_page_table& table) {
  const std::uint16_t code = table.codes[unit];
  const auto low = static_cast<unsigned char>(code);
  if (code > 0xFF) {
    const char lead = static_cast<char>(code >> 8);
    if (low < 0x80) {
      return {1, 3, {static_cast<char>(jis_x_0212_lead), lead, static_cast<char>(low | 0x80)}};
    }
    return {1, 2, {lead, static_cast<char>(low)}};
  }
  const bool is_lead = low == katakana_lead || low == jis_x_0212_lead;
  return {1, table.has_code(unit) && !is_lead, {static_cast<char>(low)}};
}

}  // namespace

stopped eucjp_decoder::convert(const char*& from, const char* end, char16_t*& to, char16_t* to_end,
                               bool last) const noexcept {
  const auto step = [in_page = decoding_step(table_)](const char*& at, char16_t*& out) {
    const auto byte = [at](std::size_t index) { return static_cast<unsigned char>(at[index]); };
    return (byte(0) < 0x80 || (is_trail(byte(0)) && is_trail(byte(1)))) && in_page(at, out);
  };
  return convert_characters(from, end, to, to_end, last, true, step,
                            [this](const char* at, const char* at_end) { return read_character(at, at_end, table_); });
}

stopped eucjp_encoder::convert(const char16_t*& from, const char16_t* end, char*& to, char* to_end,
                               bool last) const noexcept {
  const auto step = [in_page = encoding_step(table_), codes = table_.codes.data()](const char16_t*& at, char*& out) {
    const std::uint16_t code = codes[*at];
    const bool has_upper_trail = (code & 0x80) != 0;
    return (code > 0xFF) == has_upper_trail && in_page(at, out);
  };
  return convert_characters(from, end, to, to_end, last, true, step,
                            [this](const char16_t* at, const char16_t*) { return bytes_of(*at, table_); });
}

}  // namespace fl::i18n::detail

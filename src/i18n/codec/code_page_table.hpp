// What a single-byte or double-byte encoding consists of. Thread safety: plain values; codecs share them as constants.
#pragma once

#include <array>
#include <cstddef>
#include <cstdint>
#include <string>
#include <vector>

namespace fl::i18n::detail {

struct code_page_table {
  static constexpr std::size_t row_size = 256;
  static constexpr std::size_t unit_count = 0x10000;
  static constexpr char16_t no_character = 0xFFFF;  ///< in `units`: the byte or pair stands for nothing
  static constexpr char16_t lead_byte = 0xFFFE;     ///< in the first row: a second byte belongs to it
  static constexpr std::uint16_t no_code = 0;       ///< in `codes`, but for U+0000

  /// Rows of 256 UTF-16 units: first of the bytes by themselves, then one for each lead byte, by the second byte.
  std::vector<char16_t> units = std::vector<char16_t>(row_size, no_character);
  std::array<std::uint8_t, row_size> rows{};  ///< for each lead byte the number of its row; 0 for other bytes
  /// For each UTF-16 unit its byte, or both its bytes with the first one above; `no_code` for what is not in the page.
  std::vector<std::uint16_t> codes = std::vector<std::uint16_t>(unit_count, no_code);
  std::string default_character = "?";  ///< stands for what is not in the page: 1 or 2 bytes

  char16_t unit(unsigned char byte) const noexcept { return units[byte]; }
  /// `no_character` if `lead` is no lead byte.
  char16_t unit(unsigned char lead, unsigned char trail) const noexcept {
    return rows[lead] == 0 ? no_character : units[rows[lead] * row_size + trail];
  }
  bool has_code(char16_t unit) const noexcept { return codes[unit] != no_code || unit == 0; }

  /// Makes a row for the lead byte, with no character in it yet, and returns its beginning.
  char16_t* add_row(unsigned char lead);
  /// Takes the codes away that stand for another character than the one they were made of, or for none.
  void drop_codes_that_do_not_come_back() noexcept;
  /// Whether the bytes below 0x80 are US-ASCII in both directions.
  bool extends_ascii() const noexcept;
};

}  // namespace fl::i18n::detail

// Thread safety: as in the header.
#include "codec/code_page_table.hpp"

namespace fl::i18n::detail {

char16_t* code_page_table::add_row(unsigned char lead) {
  const std::size_t row = units.size() / row_size;
  units.resize(units.size() + row_size, no_character);
  units[lead] = lead_byte;
  rows[lead] = static_cast<std::uint8_t>(row);
  return units.data() + row * row_size;
}

void code_page_table::drop_codes_that_do_not_come_back() noexcept {
  for (std::size_t value = 0; value != unit_count; ++value) {
    const auto lead = static_cast<unsigned char>(codes[value] >> 8);
    const auto low = static_cast<unsigned char>(codes[value]);
    if ((lead == 0 ? unit(low) : unit(lead, low)) != value) {
      codes[value] = no_code;
    }
  }
}

bool code_page_table::extends_ascii() const noexcept {
  for (std::uint16_t value = 0; value != 0x80; ++value) {
    if (units[value] != value || codes[value] != value) {
      return false;
    }
  }
  return true;
}

}  // namespace fl::i18n::detail

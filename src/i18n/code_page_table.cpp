// Thread safety: as in the header.
#include "code_page_table.hpp"

namespace fl::i18n::detail {

char16_t* code_page_table::add_row(unsigned char lead) {
  const std::size_t row = units.size() / row_size;
  units.resize(units.size() + row_size, no_character);
  units[lead] = lead_byte;
  rows[lead] = static_cast<std::uint8_t>(row);
  return units.data() + row * row_size;
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

// Code pages where there are none: one of single bytes, some of pairs of bytes with made-up characters in order.
#include "codec/code_page.hpp"

namespace fl::i18n::detail {
namespace {

constexpr unsigned western = 1252;
constexpr unsigned japanese = 932;
constexpr unsigned chinese = 936;
constexpr unsigned euc_japanese = 20932;

void map(code_page_table& table, std::uint16_t code, char16_t& place, char16_t unit) {
  place = unit;
  table.codes[unit] = code;
}

void add_pairs(code_page_table& table, unsigned first_lead, unsigned first_trail) {
  char16_t unit = 0x4E00;
  for (unsigned lead = first_lead; lead != 0xFF; ++lead) {
    char16_t* const row = table.add_row(static_cast<unsigned char>(lead));
    for (unsigned trail = first_trail; trail != 0xFF; ++trail) {
      if (trail != 0x7F) {
        map(table, static_cast<std::uint16_t>(lead << 8 | trail), row[trail], unit++);
      }
    }
  }
}

}  // namespace

unsigned active_code_page() {
  return western;
}

bool has_code_page(unsigned page) {
  return page == western || page == japanese || page == chinese || page == euc_japanese;
}

code_page_table read_code_page(unsigned page) {
  code_page_table table;
  for (std::uint16_t byte = 0; byte != (page == western ? 0xFF : 0x80); ++byte) {
    map(table, byte, table.units[byte], byte == 0x80 ? u'\u20AC' : static_cast<char16_t>(byte));
  }
  if (page != western) {
    add_pairs(table, page == euc_japanese ? 0xA1 : 0x81, page == euc_japanese ? 0x21 : 0x40);
  }
  table.drop_codes_that_do_not_come_back();
  return table;
}

}  // namespace fl::i18n::detail

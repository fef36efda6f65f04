// Thread safety: as in the header.
#include "gb18030_codec.hpp"

#include "conversion_loop.hpp"
#include "utf_step.hpp"

#include <algorithm>
#include <utility>

namespace fl::i18n::detail {
namespace {

/// Neighbouring pairs of bytes with neighbouring characters.
struct pair_run {
  std::uint16_t first_pair;
  char16_t first_unit;
  std::uint8_t count;
};

// What GB18030 maps otherwise than code page 936, which has private characters in these places.
constexpr pair_run changed_pairs[] = {
    {0xA2E3, 0x20AC, 1}, {0xA8BF, 0x01F9, 1}, {0xA989, 0x303E, 1}, {0xA98A, 0x2FF0, 12}, {0xFE50, 0x2E81, 1},
    {0xFE54, 0x2E84, 1}, {0xFE55, 0x3473, 1}, {0xFE56, 0x3447, 1}, {0xFE57, 0x2E88, 1},  {0xFE58, 0x2E8B, 1},
    {0xFE5A, 0x359E, 1}, {0xFE5B, 0x361A, 1}, {0xFE5C, 0x360E, 1}, {0xFE5D, 0x2E8C, 1},  {0xFE5E, 0x2E97, 1},
    {0xFE5F, 0x396E, 1}, {0xFE60, 0x3918, 1}, {0xFE62, 0x39CF, 1}, {0xFE63, 0x39DF, 1},  {0xFE64, 0x3A73, 1},
    {0xFE65, 0x39D0, 1}, {0xFE68, 0x3B4E, 1}, {0xFE69, 0x3C6E, 1}, {0xFE6A, 0x3CE0, 1},  {0xFE6B, 0x2EA7, 1},
    {0xFE6E, 0x2EAA, 1}, {0xFE6F, 0x4056, 1}, {0xFE70, 0x415F, 1}, {0xFE71, 0x2EAE, 1},  {0xFE72, 0x4337, 1},
    {0xFE73, 0x2EB3, 1}, {0xFE74, 0x2EB6, 2}, {0xFE77, 0x43B1, 1}, {0xFE78, 0x43AC, 1},  {0xFE79, 0x2EBB, 1},
    {0xFE7A, 0x43DD, 1}, {0xFE7B, 0x44D6, 1}, {0xFE7C, 0x4661, 1}, {0xFE7D, 0x464C, 1},  {0xFE80, 0x4723, 1},
    {0xFE81, 0x4729, 1}, {0xFE82, 0x477C, 1}, {0xFE83, 0x478D, 1}, {0xFE84, 0x2ECA, 1},  {0xFE85, 0x4947, 1},
    {0xFE86, 0x497A, 1}, {0xFE87, 0x497D, 1}, {0xFE88, 0x4982, 2}, {0xFE8A, 0x4985, 2},  {0xFE8C, 0x499F, 1},
    {0xFE8D, 0x499B, 1}, {0xFE8E, 0x49B7, 1}, {0xFE8F, 0x49B6, 1}, {0xFE92, 0x4CA3, 1},  {0xFE93, 0x4C9F, 3},
    {0xFE96, 0x4C77, 1}, {0xFE97, 0x4CA2, 1}, {0xFE98, 0x4D13, 7}, {0xFE9F, 0x4DAE, 1}};

constexpr std::size_t beyond_bmp = 189000;  // Number of the sequence 90 30 81 30, which is U+10000.
constexpr code_point first_beyond_bmp = 0x10000;
constexpr code_point code_point_end = 0x110000;

void map_pair(code_page_table& table, std::uint16_t pair, char16_t unit) {
  char16_t& place = table.units[table.rows[pair >> 8] * code_page_table::row_size + (pair & 0xFF)];
  if (table.codes[place] == pair) {
    table.codes[place] = code_page_table::no_code;
  }
  place = unit;
  table.codes[unit] = pair;
}

/// A byte from 80 on is no character by itself; the page has some.
void drop_upper_bytes(code_page_table& table) {
  for (std::size_t byte = 0x80; byte != code_page_table::row_size; ++byte) {
    char16_t& place = table.units[byte];
    if (place != code_page_table::lead_byte) {
      place = code_page_table::no_character;
    }
  }
  for (std::uint16_t& code : table.codes) {
    code = code >= 0x80 && code <= 0xFF ? code_page_table::no_code : code;
  }
}

/// A digit behind a lead byte makes a sequence of four bytes, whatever the page has there: decoding looks for pairs
/// first.
void drop_digit_trails(code_page_table& table) {
  for (std::size_t row = 1; row != table.units.size() / code_page_table::row_size; ++row) {
    std::fill_n(table.units.data() + row * code_page_table::row_size + 0x30, 10, code_page_table::no_character);
  }
}

constexpr bool in_range(unsigned char byte, unsigned char first, unsigned char last) {
  return byte >= first && byte <= last;
}
constexpr bool is_lead(unsigned char byte) {
  return in_range(byte, 0x81, 0xFE);
}
constexpr bool is_digit(unsigned char byte) {
  return in_range(byte, 0x30, 0x39);
}

character<char16_t, 2> one_unit(std::size_t length, char16_t unit) {
  return {length, unit != code_page_table::no_character, {unit}};
}

/// The sequence with this number, counted from 81 30 81 30 on.
character<char16_t, 2> four_byte_character(std::size_t number, const gb18030_table& table) {
  if (number < table.four_bytes.size()) {
    return {4, 1, {table.four_bytes[number]}};
  }
  if (number < beyond_bmp || number - beyond_bmp >= code_point_end - first_beyond_bmp) {
    return {1, 0, {}};
  }
  character<char16_t, 2> result{4, 2, {}};
  utf16_traits::encode(static_cast<code_point>(number - beyond_bmp) + first_beyond_bmp, result.out);
  return result;
}

character<char16_t, 2> take_character(const char* from, const char* end, const gb18030_table& table) {
  const auto byte = [from](std::size_t index) { return static_cast<unsigned char>(from[index]); };
  const auto available = static_cast<std::size_t>(end - from);
  if (!is_lead(byte(0))) {
    return one_unit(1, table.pairs.unit(byte(0)));
  }
  if (available < 2) {
    return {};
  }
  if (!is_digit(byte(1))) {
    return one_unit(2, table.pairs.unit(byte(0), byte(1)));
  }
  if ((available > 2 && !is_lead(byte(2))) || (available > 3 && !is_digit(byte(3)))) {
    return {1, 0, {}};
  }
  if (available < 4) {
    return {};
  }
  const auto digit = [&](std::size_t index) { return static_cast<std::size_t>(byte(index) - 0x30); };
  const auto lead = [&](std::size_t index) { return static_cast<std::size_t>(byte(index) - 0x81); };
  return four_byte_character(((lead(0) * 10 + digit(1)) * 126 + lead(2)) * 10 + digit(3), table);
}

character<char> four_bytes_of(std::size_t length, std::size_t number) {
  const auto byte = [](std::size_t first, std::size_t offset) { return static_cast<char>(first + offset); };
  return {length,
          4,
          {byte(0x81, number / 12600), byte(0x30, number / 1260 % 10), byte(0x81, number / 10 % 126),
           byte(0x30, number % 10)}};
}

character<char> bytes_of(const char16_t* from, const char16_t* end, const gb18030_table& table) {
  const char16_t unit = *from;
  if (const std::uint16_t code = table.pairs.codes[unit]; code > 0xFF) {
    return {1, 2, {static_cast<char>(code >> 8), static_cast<char>(code)}};
  }
  if (table.pairs.has_code(unit)) {
    return {1, 1, {static_cast<char>(table.pairs.codes[unit])}};
  }
  if (unit < 0xD800 || unit > 0xDFFF) {
    return four_bytes_of(1, table.ranks[unit]);
  }
  const utf16_character next = read_utf16(from, end);
  if (next.length == 0) {
    return {next.cut ? incomplete : 1, 0, {}};
  }
  return four_bytes_of(next.length, next.value - first_beyond_bmp + beyond_bmp);
}

}  // namespace

gb18030_table::gb18030_table(code_page_table page_936)
    : pairs(std::move(page_936)), ranks(code_page_table::unit_count) {
  drop_upper_bytes(pairs);
  drop_digit_trails(pairs);
  for (const pair_run& run : changed_pairs) {
    for (std::uint8_t i = 0; i != run.count; ++i) {
      map_pair(pairs, static_cast<std::uint16_t>(run.first_pair + i), static_cast<char16_t>(run.first_unit + i));
    }
  }
  for (std::size_t unit = 0x80; unit != code_page_table::unit_count; ++unit) {
    const bool is_surrogate = unit >= 0xD800 && unit <= 0xDFFF;
    if (!is_surrogate && !pairs.has_code(static_cast<char16_t>(unit))) {
      ranks[unit] = static_cast<std::uint16_t>(four_bytes.size());
      four_bytes.push_back(static_cast<char16_t>(unit));
    }
  }
}

stopped gb18030_decoder::convert(const char*& from, const char* end, char16_t*& to, char16_t* to_end,
                                 bool last) const noexcept {
  const auto take = [this](const char* at, const char* at_end) { return take_character(at, at_end, table_); };
  return convert_characters(from, end, to, to_end, last, true, decoding_step(table_.pairs), take);
}

stopped gb18030_encoder::convert(const char16_t*& from, const char16_t* end, char*& to, char* to_end,
                                 bool last) const noexcept {
  const auto take = [this](const char16_t* at, const char16_t* at_end) { return bytes_of(at, at_end, table_); };
  return convert_characters(from, end, to, to_end, last, true, encoding_step(table_.pairs), take);
}

}  // namespace fl::i18n::detail

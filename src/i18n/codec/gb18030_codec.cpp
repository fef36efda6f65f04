// Thread safety: as in the header.
#include "codec/gb18030_codec.hpp"

#include "codec/conversion_loop.hpp"
#include "codec/utf_step.hpp"

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

// The private characters that GB18030 has two bytes for. Systems treat them differently.
constexpr pair_run private_pairs[] = {
    {0xA140, 0xE4C6, 63}, {0xA180, 0xE505, 33}, {0xA240, 0xE526, 63}, {0xA280, 0xE565, 33}, {0xA2AB, 0xE766, 6},
    {0xA2E4, 0xE76D, 1},  {0xA2EF, 0xE76E, 2},  {0xA2FD, 0xE770, 2},  {0xA340, 0xE586, 63}, {0xA380, 0xE5C5, 33},
    {0xA440, 0xE5E6, 63}, {0xA480, 0xE625, 33}, {0xA4F4, 0xE772, 11}, {0xA540, 0xE646, 63}, {0xA580, 0xE685, 33},
    {0xA5F7, 0xE77D, 8},  {0xA640, 0xE6A6, 63}, {0xA680, 0xE6E5, 33}, {0xA6B9, 0xE785, 8},  {0xA6D9, 0xE78D, 7},
    {0xA6EC, 0xE794, 2},  {0xA6F3, 0xE796, 1},  {0xA6F6, 0xE797, 9},  {0xA740, 0xE706, 63}, {0xA780, 0xE745, 33},
    {0xA7C2, 0xE7A0, 15}, {0xA7F2, 0xE7AF, 13}, {0xA896, 0xE7BC, 11}, {0xA8BC, 0xE7C7, 1},  {0xA8C1, 0xE7C9, 4},
    {0xA8EA, 0xE7CD, 21}, {0xA958, 0xE7E2, 1},  {0xA95B, 0xE7E3, 1},  {0xA95D, 0xE7E4, 3},  {0xA997, 0xE7F4, 13},
    {0xA9F0, 0xE801, 15}, {0xAAA1, 0xE000, 94}, {0xABA1, 0xE05E, 94}, {0xACA1, 0xE0BC, 94}, {0xADA1, 0xE11A, 94},
    {0xAEA1, 0xE178, 94}, {0xAFA1, 0xE1D6, 94}, {0xD7FA, 0xE810, 5},  {0xF8A1, 0xE234, 94}, {0xF9A1, 0xE292, 94},
    {0xFAA1, 0xE2F0, 94}, {0xFBA1, 0xE34E, 94}, {0xFCA1, 0xE3AC, 94}, {0xFDA1, 0xE40A, 94}, {0xFE51, 0xE816, 3},
    {0xFE59, 0xE81E, 1},  {0xFE61, 0xE826, 1},  {0xFE66, 0xE82B, 2},  {0xFE6C, 0xE831, 2},  {0xFE76, 0xE83B, 1},
    {0xFE7E, 0xE843, 1},  {0xFE90, 0xE854, 2},  {0xFEA0, 0xE864, 1},  {0xFEA1, 0xE468, 94},
};

struct unit_range {
  char16_t first;
  char16_t last;  // belongs to it
};

// The characters of the first plane that have four bytes: the sequences from 81 30 81 30 on, in this order. Told here
// and not concluded from the system's page, so that a page with more pairs or fewer does not move all of them.
constexpr unit_range four_byte_ranges[] = {
    {0x0080, 0x00A3}, {0x00A5, 0x00A6}, {0x00A9, 0x00AF}, {0x00B2, 0x00B6}, {0x00B8, 0x00D6}, {0x00D8, 0x00DF},
    {0x00E2, 0x00E7}, {0x00EB, 0x00EB}, {0x00EE, 0x00F1}, {0x00F4, 0x00F6}, {0x00F8, 0x00F8}, {0x00FB, 0x00FB},
    {0x00FD, 0x0100}, {0x0102, 0x0112}, {0x0114, 0x011A}, {0x011C, 0x012A}, {0x012C, 0x0143}, {0x0145, 0x0147},
    {0x0149, 0x014C}, {0x014E, 0x016A}, {0x016C, 0x01CD}, {0x01CF, 0x01CF}, {0x01D1, 0x01D1}, {0x01D3, 0x01D3},
    {0x01D5, 0x01D5}, {0x01D7, 0x01D7}, {0x01D9, 0x01D9}, {0x01DB, 0x01DB}, {0x01DD, 0x01F8}, {0x01FA, 0x0250},
    {0x0252, 0x0260}, {0x0262, 0x02C6}, {0x02C8, 0x02C8}, {0x02CC, 0x02D8}, {0x02DA, 0x0390}, {0x03A2, 0x03A2},
    {0x03AA, 0x03B0}, {0x03C2, 0x03C2}, {0x03CA, 0x0400}, {0x0402, 0x040F}, {0x0450, 0x0450}, {0x0452, 0x200F},
    {0x2011, 0x2012}, {0x2017, 0x2017}, {0x201A, 0x201B}, {0x201E, 0x2024}, {0x2027, 0x202F}, {0x2031, 0x2031},
    {0x2034, 0x2034}, {0x2036, 0x203A}, {0x203C, 0x20AB}, {0x20AD, 0x2102}, {0x2104, 0x2104}, {0x2106, 0x2108},
    {0x210A, 0x2115}, {0x2117, 0x2120}, {0x2122, 0x215F}, {0x216C, 0x216F}, {0x217A, 0x218F}, {0x2194, 0x2195},
    {0x219A, 0x2207}, {0x2209, 0x220E}, {0x2210, 0x2210}, {0x2212, 0x2214}, {0x2216, 0x2219}, {0x221B, 0x221C},
    {0x2221, 0x2222}, {0x2224, 0x2224}, {0x2226, 0x2226}, {0x222C, 0x222D}, {0x222F, 0x2233}, {0x2238, 0x223C},
    {0x223E, 0x2247}, {0x2249, 0x224B}, {0x224D, 0x2251}, {0x2253, 0x225F}, {0x2262, 0x2263}, {0x2268, 0x226D},
    {0x2270, 0x2294}, {0x2296, 0x2298}, {0x229A, 0x22A4}, {0x22A6, 0x22BE}, {0x22C0, 0x2311}, {0x2313, 0x245F},
    {0x246A, 0x2473}, {0x249C, 0x24FF}, {0x254C, 0x254F}, {0x2574, 0x2580}, {0x2590, 0x2592}, {0x2596, 0x259F},
    {0x25A2, 0x25B1}, {0x25B4, 0x25BB}, {0x25BE, 0x25C5}, {0x25C8, 0x25CA}, {0x25CC, 0x25CD}, {0x25D0, 0x25E1},
    {0x25E6, 0x2604}, {0x2607, 0x2608}, {0x260A, 0x263F}, {0x2641, 0x2641}, {0x2643, 0x2E80}, {0x2E82, 0x2E83},
    {0x2E85, 0x2E87}, {0x2E89, 0x2E8A}, {0x2E8D, 0x2E96}, {0x2E98, 0x2EA6}, {0x2EA8, 0x2EA9}, {0x2EAB, 0x2EAD},
    {0x2EAF, 0x2EB2}, {0x2EB4, 0x2EB5}, {0x2EB8, 0x2EBA}, {0x2EBC, 0x2EC9}, {0x2ECB, 0x2FEF}, {0x2FFC, 0x2FFF},
    {0x3004, 0x3004}, {0x3018, 0x301C}, {0x301F, 0x3020}, {0x302A, 0x303D}, {0x303F, 0x3040}, {0x3094, 0x309A},
    {0x309F, 0x30A0}, {0x30F7, 0x30FB}, {0x30FF, 0x3104}, {0x312A, 0x321F}, {0x322A, 0x3230}, {0x3232, 0x32A2},
    {0x32A4, 0x338D}, {0x3390, 0x339B}, {0x339F, 0x33A0}, {0x33A2, 0x33C3}, {0x33C5, 0x33CD}, {0x33CF, 0x33D0},
    {0x33D3, 0x33D4}, {0x33D6, 0x3446}, {0x3448, 0x3472}, {0x3474, 0x359D}, {0x359F, 0x360D}, {0x360F, 0x3619},
    {0x361B, 0x3917}, {0x3919, 0x396D}, {0x396F, 0x39CE}, {0x39D1, 0x39DE}, {0x39E0, 0x3A72}, {0x3A74, 0x3B4D},
    {0x3B4F, 0x3C6D}, {0x3C6F, 0x3CDF}, {0x3CE1, 0x4055}, {0x4057, 0x415E}, {0x4160, 0x4336}, {0x4338, 0x43AB},
    {0x43AD, 0x43B0}, {0x43B2, 0x43DC}, {0x43DE, 0x44D5}, {0x44D7, 0x464B}, {0x464D, 0x4660}, {0x4662, 0x4722},
    {0x4724, 0x4728}, {0x472A, 0x477B}, {0x477D, 0x478C}, {0x478E, 0x4946}, {0x4948, 0x4979}, {0x497B, 0x497C},
    {0x497E, 0x4981}, {0x4984, 0x4984}, {0x4987, 0x499A}, {0x499C, 0x499E}, {0x49A0, 0x49B5}, {0x49B8, 0x4C76},
    {0x4C78, 0x4C9E}, {0x4CA4, 0x4D12}, {0x4D1A, 0x4DAD}, {0x4DAF, 0x4DFF}, {0x9FA6, 0xD7FF}, {0xE76C, 0xE76C},
    {0xE7C8, 0xE7C8}, {0xE7E7, 0xE7F3}, {0xE815, 0xE815}, {0xE819, 0xE81D}, {0xE81F, 0xE825}, {0xE827, 0xE82A},
    {0xE82D, 0xE830}, {0xE833, 0xE83A}, {0xE83C, 0xE842}, {0xE844, 0xE853}, {0xE856, 0xE863}, {0xE865, 0xF92B},
    {0xF92D, 0xF978}, {0xF97A, 0xF994}, {0xF996, 0xF9E6}, {0xF9E8, 0xF9F0}, {0xF9F2, 0xFA0B}, {0xFA10, 0xFA10},
    {0xFA12, 0xFA12}, {0xFA15, 0xFA17}, {0xFA19, 0xFA1E}, {0xFA22, 0xFA22}, {0xFA25, 0xFA26}, {0xFA2A, 0xFE2F},
    {0xFE32, 0xFE32}, {0xFE45, 0xFE48}, {0xFE53, 0xFE53}, {0xFE58, 0xFE58}, {0xFE67, 0xFE67}, {0xFE6C, 0xFF00},
    {0xFF5F, 0xFFDF}, {0xFFE6, 0xFFFF},
};

constexpr std::size_t beyond_bmp = 189000;  // Number of the sequence 90 30 81 30, which is U+10000.
constexpr code_point first_beyond_bmp = 0x10000;
constexpr code_point code_point_end = 0x110000;

void map_pair(code_page_table& table, std::uint16_t pair, char16_t unit) {
  const auto lead = static_cast<unsigned char>(pair >> 8);
  if (table.rows[lead] == 0) {
    table.add_row(lead);
  }
  char16_t& place = table.units[table.rows[lead] * code_page_table::row_size + (pair & 0xFF)];
  if (table.codes[place] == pair) {
    table.codes[place] = code_page_table::no_code;
  }
  place = unit;
  table.codes[unit] = pair;
}

template <std::size_t Count>
void map_pairs(code_page_table& table, const pair_run (&runs)[Count]) {
  for (const pair_run& run : runs) {
    for (std::uint8_t i = 0; i != run.count; ++i) {
      map_pair(table, static_cast<std::uint16_t>(run.first_pair + i), static_cast<char16_t>(run.first_unit + i));
    }
  }
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

character<char16_t, 2> read_character(const char* from, const char* end, const gb18030_table& table) {
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
  if (const std::uint16_t rank = table.ranks[unit]; table.four_bytes[rank] == unit) {
    return four_bytes_of(1, rank);
  }
  const utf16_character next = read_utf16(from, end);
  if (next.length != 2) {
    return {next.cut ? incomplete : 1, 0, {}};
  }
  return four_bytes_of(next.length, next.value - first_beyond_bmp + beyond_bmp);
}

constexpr std::size_t widest = 4;  // On either side.

/// A step of `convert_characters`: a pair or a byte by `quick`, all else by `read`, which gives a `character`.
template <class Quick, class Read>
auto step_of(Quick quick, Read read) {
  return [=](auto& from, auto& to) {
    if (quick(from, to)) {
      return true;
    }
    const auto next = read(from, from + widest);
    to = std::copy_n(next.out, next.out_count, to);
    from += next.out_count != 0 ? next.length : 0;
    return next.out_count != 0;
  };
}

}  // namespace

gb18030_table::gb18030_table(code_page_table page_936)
    : pairs(std::move(page_936)), ranks(code_page_table::unit_count) {
  drop_upper_bytes(pairs);
  drop_digit_trails(pairs);
  map_pairs(pairs, changed_pairs);
  map_pairs(pairs, private_pairs);
  for (const unit_range& range : four_byte_ranges) {
    for (std::size_t unit = range.first; unit <= range.last; ++unit) {
      pairs.codes[unit] = code_page_table::no_code;
      ranks[unit] = static_cast<std::uint16_t>(four_bytes.size());
      four_bytes.push_back(static_cast<char16_t>(unit));
    }
  }
}

stopped gb18030_decoder::convert(const char*& from, const char* end, char16_t*& to, char16_t* to_end,
                                 bool last) const noexcept {
  const auto read = [this](const char* at, const char* at_end) { return read_character(at, at_end, table_); };
  const auto step = step_of(decoding_step(table_.pairs), read);
  return convert_characters<widest>(from, end, to, to_end, last, true, step, read);
}

stopped gb18030_encoder::convert(const char16_t*& from, const char16_t* end, char*& to, char* to_end,
                                 bool last) const noexcept {
  const auto read = [this](const char16_t* at, const char16_t* at_end) { return bytes_of(at, at_end, table_); };
  const auto step = step_of(encoding_step(table_.pairs), read);
  return convert_characters<widest>(from, end, to, to_end, last, true, step, read);
}

}  // namespace fl::i18n::detail

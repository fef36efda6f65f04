// Conversion between UTF-8 and UTF-16, against a slow decoder that knows nothing but the list of well-formed sequences.
#include <i18n/convert.hpp>

#include <gtest/gtest.h>

#include <algorithm>
#include <array>
#include <cstdint>
#include <string>
#include <string_view>
#include <vector>

namespace {

using fl::ustring;
using fl::i18n::ustring_to_utf8;
using fl::i18n::utf8_to_ustring;

constexpr char32_t code_point_end = 0x110000;
bool is_surrogate(char32_t value) {
  return value >= 0xD800 && value <= 0xDFFF;
}

std::string reference_utf8(char32_t value) {
  const auto byte = [](char32_t bits) { return static_cast<char>(bits); };
  const auto trail = [&](int shift) { return byte(0x80 | (value >> shift & 0x3F)); };
  if (value < 0x80) {
    return {byte(value)};
  }
  if (value < 0x800) {
    return {byte(0xC0 | value >> 6), trail(0)};
  }
  if (value < 0x10000) {
    return {byte(0xE0 | value >> 12), trail(6), trail(0)};
  }
  return {byte(0xF0 | value >> 18), trail(12), trail(6), trail(0)};
}

ustring reference_utf16(char32_t value) {
  if (value < 0x10000) {
    return {static_cast<char16_t>(value)};
  }
  return {static_cast<char16_t>(0xD800 + ((value - 0x10000) >> 10)),
          static_cast<char16_t>(0xDC00 + ((value - 0x10000) & 0x3FF))};
}

// The well-formed sequences, as the standard lists them: the range of each byte.
struct byte_range {
  unsigned char first, last;
};
constexpr byte_range trail{0x80, 0xBF};
struct form {
  std::size_t length;
  std::array<byte_range, 4> bytes;
};
constexpr form forms[] = {{1, {{{0x00, 0x7F}}}},
                          {2, {{{0xC2, 0xDF}, trail}}},
                          {3, {{{0xE0, 0xE0}, {0xA0, 0xBF}, trail}}},
                          {3, {{{0xE1, 0xEC}, trail, trail}}},
                          {3, {{{0xED, 0xED}, {0x80, 0x9F}, trail}}},
                          {3, {{{0xEE, 0xEF}, trail, trail}}},
                          {4, {{{0xF0, 0xF0}, {0x90, 0xBF}, trail, trail}}},
                          {4, {{{0xF1, 0xF3}, trail, trail, trail}}},
                          {4, {{{0xF4, 0xF4}, {0x80, 0x8F}, trail, trail}}}};

ustring reference_decode(std::string_view bytes) {
  ustring result;
  const auto byte = [&](std::size_t i) { return static_cast<unsigned char>(bytes[i]); };
  while (!bytes.empty()) {
    std::size_t taken = 1;
    char32_t value = 0xFFFD;
    for (const form& each : forms) {
      std::size_t same = 0;
      while (same != each.length && same != bytes.size() && byte(same) >= each.bytes[same].first &&
             byte(same) <= each.bytes[same].last) {
        ++same;
      }
      taken = std::max(taken, same);
      if (same == each.length) {
        value = same == 1 ? byte(0) : byte(0) & 0x7FU >> same;
        for (std::size_t i = 1; i != same; ++i) {
          value = value << 6 | (byte(i) & 0x3F);
        }
      }
    }
    result += reference_utf16(value);
    bytes.remove_prefix(taken);
  }
  return result;
}

std::string reference_encode(std::u16string_view text) {
  std::string result;
  while (!text.empty()) {
    const bool pair =
        text.size() > 1 && text[0] >= 0xD800 && text[0] <= 0xDBFF && text[1] >= 0xDC00 && text[1] <= 0xDFFF;
    char32_t value = is_surrogate(text[0]) ? 0xFFFD : text[0];
    if (pair) {
      value = 0x10000 + ((text[0] & 0x3FFU) << 10) + (text[1] & 0x3FFU);
    }
    result += reference_utf8(value);
    text.remove_prefix(pair ? 2 : 1);
  }
  return result;
}

// The input lies in an allocation of exactly its size, so that the sanitizer sees a read beyond it.
bool decodes_as_reference(const std::string& bytes) {
  const std::vector<char> exact(bytes.begin(), bytes.end());
  return utf8_to_ustring(std::string_view(exact.data(), exact.size())) == reference_decode(bytes);
}

bool encodes_as_reference(const ustring& text) {
  const std::vector<char16_t> exact(text.begin(), text.end());
  return ustring_to_utf8(std::u16string_view(exact.data(), exact.size())) == reference_encode(text);
}

TEST(Utf, EveryCodePointGoesThroughBothWays) {
  for (char32_t value = 0; value != code_point_end; ++value) {
    if (is_surrogate(value)) {
      continue;
    }
    ASSERT_EQ(utf8_to_ustring(reference_utf8(value)), reference_utf16(value)) << static_cast<unsigned>(value);
    ASSERT_EQ(ustring_to_utf8(reference_utf16(value)), reference_utf8(value)) << static_cast<unsigned>(value);
  }
}

// The first and last byte of each range of the definition, and their neighbours.
constexpr std::array edge_bytes = {'\x00', '\x7F', '\x80', '\x8F', '\x90', '\x9F', '\xA0', '\xBF',
                                   '\xC0', '\xC1', '\xC2', '\xDF', '\xE0', '\xE1', '\xEC', '\xED',
                                   '\xEE', '\xEF', '\xF0', '\xF1', '\xF3', '\xF4', '\xF5', '\xFF'};

// Alone, where nothing may be read beyond the end, and one behind the other with ASCII between, where whole blocks are.
TEST(Utf, EveryOneToThreeBytesDecodeAsTheReference) {
  for (int a = 0; a != 256; ++a) {
    ASSERT_TRUE(decodes_as_reference({static_cast<char>(a)})) << a;
    for (int b = 0; b != 256; ++b) {
      ASSERT_TRUE(decodes_as_reference({static_cast<char>(a), static_cast<char>(b)})) << a << ' ' << b;
      std::vector<char> alone{static_cast<char>(a), static_cast<char>(b), 0};
      std::string row;
      ustring expected_row;
      for (int c = 0; c != 256; ++c) {
        alone[2] = static_cast<char>(c);
        const std::string_view bytes(alone.data(), alone.size());
        const ustring expected = reference_decode(bytes);
        ASSERT_EQ(utf8_to_ustring(bytes), expected) << testing::PrintToString(bytes);
        row.append(bytes).append("x");
        expected_row.append(expected).append(u"x");
      }
      ASSERT_EQ(utf8_to_ustring(row), expected_row) << a << ' ' << b;
    }
  }
}

TEST(Utf, FourBytesAtTheEdgesOfAllRangesDecodeAsTheReference) {
  for (const char a : edge_bytes) {
    for (const char b : edge_bytes) {
      for (const char c : edge_bytes) {
        std::string row;
        for (const char d : edge_bytes) {
          ASSERT_TRUE(decodes_as_reference({a, b, c, d})) << testing::PrintToString(std::string{a, b, c, d});
          row.append({a, b, c, d, 'x'});
        }
        ASSERT_TRUE(decodes_as_reference(row)) << testing::PrintToString(row);
      }
    }
  }
}

TEST(Utf, UnitsAtTheEdgesOfAllRangesEncodeAsTheReference) {
  constexpr char16_t edges[] = {0x0, 0x7F, 0x80, 0x7FF, 0x800, 0xD7FF, 0xD800, 0xDBFF, 0xDC00, 0xDFFF, 0xE000, 0xFFFF};
  for (const char16_t a : edges) {
    for (const char16_t b : edges) {
      ASSERT_TRUE(encodes_as_reference({a, b})) << int{a} << ' ' << int{b};
      for (const char16_t c : edges) {
        ASSERT_TRUE(encodes_as_reference({a, b, c})) << int{a} << ' ' << int{b} << ' ' << int{c};
      }
    }
  }
}

// Between runs of ASCII: well-formed characters of each length, and what is ill-formed.
const std::string byte_breaks[] = {"", "\xC3\xA9", "\xE2\x82\xAC", "\xF0\x9F\x98\x80", "\x80", "\xFF", "\xE2\x82"};
const ustring unit_breaks[] = {u"", u"\u0080", u"\u07FF", u"\u0800", u"\uFFFF", u"\U0001F600", ustring(1, 0xD800)};

// Whole blocks are converted at once: something else stands at every place before, in and behind them, up to nine times
// in a row.
TEST(Utf, ARunOfCharactersOfOneKindMayEndAnywhere) {
  for (std::size_t place = 0; place != 50 * 9 * 7 * 7; ++place) {
    const std::size_t before = place % 50, repeated = place / 50 % 9 + 1, one = place / 450 % 7, other = place / 3150;
    std::string bytes(before, 'x');
    ustring units(before, u'x');
    for (std::size_t i = 0; i != repeated; ++i) {
      bytes += byte_breaks[one];
      units += unit_breaks[one];
    }
    // With much behind it all that is converted in blocks; with little, nothing.
    for (const std::size_t after : {place % 16, place % 16 + 48}) {
      ASSERT_TRUE(decodes_as_reference(bytes + byte_breaks[other] + std::string(after, '\x7F'))) << place;
      ASSERT_TRUE(encodes_as_reference(units + unit_breaks[other] + ustring(after, u'\x7F'))) << place;
    }
  }
}

// A piece ends at 2048 units or 4096 bytes, with or without a character there that does not fit or is none.
TEST(Utf, ATextOfSeveralPiecesIsAsTheReference) {
  for (std::size_t shift = 0; shift != 16; ++shift) {
    std::string bytes(2040 + shift, 'x');
    ustring units(4088 + shift, u'x');
    for (std::size_t one = 0; one != std::size(byte_breaks); ++one) {
      for (int i = 0; i != 1000; ++i) {
        bytes += byte_breaks[one];
        units += unit_breaks[one];
      }
      ASSERT_TRUE(decodes_as_reference(bytes)) << shift << ' ' << one;
      ASSERT_TRUE(encodes_as_reference(units)) << shift << ' ' << one;
      bytes = bytes.substr(0, 2040 + shift);
      units = units.substr(0, 4088 + shift);
    }
  }
}

}  // namespace

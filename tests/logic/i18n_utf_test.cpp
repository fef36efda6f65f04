// Conversion between UTF-8 and UTF-16, against a slow decoder that knows nothing but how one code point is written.
#include <i18n/convert.hpp>

#include <gtest/gtest.h>

#include <array>
#include <cstdint>
#include <string>
#include <string_view>
#include <unordered_map>
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
  if (value < 0x80)
    return {byte(value)};
  if (value < 0x800)
    return {byte(0xC0 | value >> 6), trail(0)};
  if (value < 0x10000)
    return {byte(0xE0 | value >> 12), trail(6), trail(0)};
  return {byte(0xF0 | value >> 18), trail(12), trail(6), trail(0)};
}

ustring reference_utf16(char32_t value) {
  if (value < 0x10000)
    return {static_cast<char16_t>(value)};
  return {static_cast<char16_t>(0xD800 + ((value - 0x10000) >> 10)),
          static_cast<char16_t>(0xDC00 + ((value - 0x10000) & 0x3FF))};
}

// The code point of every well-formed sequence, and U+FFFD for every beginning of one.
const std::unordered_map<std::string, char32_t>& sequences() {
  static const auto result = [] {
    std::unordered_map<std::string, char32_t> known;
    for (char32_t value = 0; value != code_point_end; ++value) {
      const std::string bytes = is_surrogate(value) ? std::string() : reference_utf8(value);
      for (std::size_t length = 1; length <= bytes.size(); ++length)
        known.emplace(bytes.substr(0, length), length == bytes.size() ? value : 0xFFFD);
    }
    return known;
  }();
  return result;
}

ustring reference_decode(std::string_view bytes) {
  ustring result;
  while (!bytes.empty()) {
    std::size_t taken = 1;
    char32_t value = 0xFFFD;
    for (std::size_t length = 1; length <= 4 && length <= bytes.size(); ++length) {
      if (const auto found = sequences().find(std::string(bytes.substr(0, length))); found != sequences().end()) {
        taken = length;
        value = found->second;
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
    if (pair)
      value = 0x10000 + ((text[0] & 0x3FFU) << 10) + (text[1] & 0x3FFU);
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

TEST(Utf, KnownIllFormedBytesGiveOneReplacementForEachMaximalSubpart) {
  EXPECT_EQ(utf8_to_ustring("\xE2\x82\x41"), u"\uFFFDA");
  EXPECT_EQ(utf8_to_ustring("\xED\xA0\x80"), u"\uFFFD\uFFFD\uFFFD");
  EXPECT_EQ(utf8_to_ustring("\xF4\x90\x80\x80"), u"\uFFFD\uFFFD\uFFFD\uFFFD");
  EXPECT_EQ(utf8_to_ustring("\xE1\x80\xE2\xF0\x91\x92\xF1\xBF\x41"), u"\uFFFD\uFFFD\uFFFD\uFFFDA");
}

TEST(Utf, EveryCodePointGoesThroughBothWays) {
  for (char32_t value = 0; value != code_point_end; ++value) {
    if (is_surrogate(value))
      continue;
    ASSERT_EQ(utf8_to_ustring(reference_utf8(value)), reference_utf16(value)) << static_cast<unsigned>(value);
    ASSERT_EQ(ustring_to_utf8(reference_utf16(value)), reference_utf8(value)) << static_cast<unsigned>(value);
  }
}

// The first and last byte of each range of the definition, and their neighbours.
constexpr std::array edge_bytes = {'\x00', '\x7F', '\x80', '\x8F', '\x90', '\x9F', '\xA0', '\xBF',
                                   '\xC0', '\xC1', '\xC2', '\xDF', '\xE0', '\xE1', '\xEC', '\xED',
                                   '\xEE', '\xEF', '\xF0', '\xF1', '\xF3', '\xF4', '\xF5', '\xFF'};

TEST(Utf, ThreeAndFourBytesAtTheEdgesOfAllRangesDecodeAsTheReference) {
  for (const char a : edge_bytes) {
    for (const char b : edge_bytes) {
      for (const char c : edge_bytes) {
        ASSERT_TRUE(decodes_as_reference({a, b, c})) << testing::PrintToString(std::string{a, b, c});
        for (const char d : edge_bytes)
          ASSERT_TRUE(decodes_as_reference({a, b, c, d})) << testing::PrintToString(std::string{a, b, c, d});
      }
    }
  }
}

TEST(Utf, UnitsAtTheEdgesOfAllRangesEncodeAsTheReference) {
  EXPECT_EQ(ustring_to_utf8(ustring{0xD83D, 0xD83D, 0xDE00, 0xDE00}), "\xEF\xBF\xBD\xF0\x9F\x98\x80\xEF\xBF\xBD");
  constexpr char16_t edges[] = {0x0, 0x7F, 0x80, 0x7FF, 0x800, 0xD7FF, 0xD800, 0xDBFF, 0xDC00, 0xDFFF, 0xE000, 0xFFFF};
  for (const char16_t a : edges) {
    for (const char16_t b : edges) {
      ASSERT_TRUE(encodes_as_reference({a, b})) << int{a} << ' ' << int{b};
      for (const char16_t c : edges)
        ASSERT_TRUE(encodes_as_reference({a, b, c})) << int{a} << ' ' << int{b} << ' ' << int{c};
    }
  }
}

// The fast path takes sixteen characters at a time: something else stands at every place before, in and behind such
// blocks.
TEST(Utf, ARunOfAsciiMayEndAnywhere) {
  const std::string byte_breaks[] = {"", "\xC3\xA9", "\xE2\x82\xAC", "\xF0\x9F\x98\x80", "\x80", "\xFF", "\xE2\x82"};
  const ustring unit_breaks[] = {u"", u"\u0080", u"\u00FF", u"\u0100", u"\u4100", u"\U0001F600", ustring(1, 0xD800)};
  for (std::size_t before = 0; before != 50; ++before) {
    for (std::size_t after = 0; after != 35; ++after) {
      for (const std::string& each : byte_breaks)
        ASSERT_TRUE(decodes_as_reference(std::string(before, 'x') + each + std::string(after, '\x7F'))) << before;
      for (const ustring& each : unit_breaks)
        ASSERT_TRUE(encodes_as_reference(ustring(before, u'x') + each + ustring(after, u'\x7F'))) << before;
    }
  }
}

}  // namespace

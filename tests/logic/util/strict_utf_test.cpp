#include "util/strict_utf.hpp"

#include <gtest/gtest.h>

#include <stdexcept>
#include <string>

namespace {

using namespace foundation::core::util;

std::string utf8_of(char32_t c) {
  const auto byte = [](char32_t value) { return static_cast<char>(static_cast<unsigned char>(value)); };
  const auto tail = [&](int shift, char32_t value) { return byte(0x80 | ((value >> shift) & 0x3f)); };
  if (c < 0x80) {
    return {byte(c)};
  }
  if (c < 0x800) {
    return {byte(0xc0 | c >> 6), tail(0, c)};
  }
  if (c < 0x10000) {
    return {byte(0xe0 | c >> 12), tail(6, c), tail(0, c)};
  }
  return {byte(0xf0 | c >> 18), tail(12, c), tail(6, c), tail(0, c)};
}

std::u16string utf16_of(char32_t c) {
  if (c < 0x10000) {
    return {static_cast<char16_t>(c)};
  }
  return {static_cast<char16_t>(0xd800 + ((c - 0x10000) >> 10)), static_cast<char16_t>(0xdc00 + (c & 0x3ff))};
}

template <class Conversion, class Text>
std::string refusal(Conversion convert, const Text& text) {
  try {
    convert(text);
    return "none";
  } catch (const std::range_error& error) {
    return error.what();
  }
}

TEST(StrictUtf, ConvertsEveryCodePointAndNoSurrogate) {
  for (char32_t c = 0; c <= 0x10ffff; ++c) {
    const std::string narrow = utf8_of(c);
    if (c >= 0xd800 && c <= 0xdfff) {
      ASSERT_EQ(refusal(utf8_to_utf16_strict, narrow), "bad conversion") << static_cast<unsigned>(c);
    } else {
      ASSERT_EQ(utf8_to_utf16_strict(narrow), utf16_of(c)) << static_cast<unsigned>(c);
    }
  }
}

TEST(StrictUtf, RefusesIllFormedText) {
  // Tails alone, sequences cut short, forms that are too long, a pair of surrogates, and beyond the last code point.
  const std::string narrow[] = {
      "\x80",     "a\xbfz",       "\xc3",         "a\xe2\x82",        "\xf0\x9f\x98",     "\xe2\x82z",
      "\xc0\xaf", "\xc1\xbf",     "\xe0\x9f\xbf", "\xf0\x8f\xbf\xbf", "\xf4\x90\x80\x80", "\xed\xa0\xbd\xed\xb8\x80",
      "\xfe",     "\xc3\xc3\xa4", "\xff",         "\xe0\x80\xaf",     "\xf0\x80\x80\xaf", "\xf8\x88\x80\x80\x80"};
  for (const std::string& text : narrow) {
    EXPECT_EQ(refusal(utf8_to_utf16_strict, text), "bad conversion") << testing::PrintToString(text);
  }
}

}  // namespace

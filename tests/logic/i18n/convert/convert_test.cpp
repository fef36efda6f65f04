// Conversion of whole texts in the Unicode encodings, against slow oracles. Each input lies in an allocation of exactly
// its size, so that the sanitizer sees a read beyond it.
#include <i18n/convert.hpp>
#include <i18n/encoding.hpp>

#include "codec/kernel.hpp"
#include "every_test.hpp"
#include "reference_text.hpp"

namespace {

using fl::ustring;
using namespace fl::i18n;
using test_support::bytes_of;
using test_support::points_of;
using test_support::reference_decode;
using test_support::units_of;

/// Whether these are the bytes of that text and no others: a well-formed text has only one form in UTF-8.
bool are_utf8_of(const ustring& text, const std::string& bytes) {
  return reference_decode(bytes) == text && reference_decode(bytes, u'!') == text;
}

bool decodes_as_reference(const std::string& bytes) {
  const std::vector<char> exact(bytes.begin(), bytes.end());
  const std::string_view view(exact.data(), exact.size());
  const ustring expected = reference_decode(bytes);
  return utf8_to_ustring(view) == expected && decode(view, "UTF-8") == expected;
}

TEST(Utf8, EveryCodePointGoesThroughBothWays) {
  for (char32_t value = 0; value != 0x110000; ++value) {
    if (value < 0xD800 || value > 0xDFFF) {
      const ustring units = units_of(value);
      const std::string bytes = ustring_to_utf8(units);
      ASSERT_TRUE(are_utf8_of(units, bytes)) << static_cast<unsigned>(value);
      ASSERT_EQ(utf8_to_ustring(bytes), units) << static_cast<unsigned>(value);
    }
  }
}

// The first and last byte of each range of the definition, and their neighbours.
constexpr char edges[] = {'\x00', '\x7F', '\x80', '\x8F', '\x90', '\x9F', '\xA0', '\xBF',
                          '\xC0', '\xC1', '\xC2', '\xDF', '\xE0', '\xE1', '\xEC', '\xED',
                          '\xEE', '\xEF', '\xF0', '\xF1', '\xF3', '\xF4', '\xF5', '\xFF'};

// Alone, where nothing may be read beyond the end, and one behind the other with ASCII between, where whole blocks are.
TEST(Utf8, AnyFourBytesAtTheEdgesOfTheRangesDecodeAsTheReference) {
  constexpr std::size_t count = std::size(edges);
  std::string row;
  for (std::size_t i = 0; i != count * count * count * count; ++i) {
    const std::string bytes = {edges[i / count / count / count], edges[i / count / count % count],
                               edges[i / count % count], edges[i % count]};
    ASSERT_TRUE(decodes_as_reference(bytes)) << testing::PrintToString(bytes);
    row += bytes + 'x';
    if (row.size() > 120) {
      detail::kernel::use(i);
      ASSERT_TRUE(decodes_as_reference(row)) << testing::PrintToString(row);
      row.clear();
    }
  }
}

TEST(UnicodeEncodings, ConvertWholeTextsAsTheReferencesDo) {
  test_support::seeded_random random;
  for (int i = 0; i != 1000; ++i) {
    detail::kernel::use(static_cast<std::size_t>(i));
    const ustring text = test_support::any_text(random);
    ustring replaced;
    for (const char32_t point : points_of(text)) {
      replaced += units_of(point >> 11 == 0x1B ? 0xFFFD : point);
    }
    const std::vector<char16_t> exact(text.begin(), text.end());
    const std::string utf8 = ustring_to_utf8(std::u16string_view(exact.data(), exact.size()));
    ASSERT_TRUE(are_utf8_of(replaced, utf8) && encode(text, "UTF-8") == utf8) << testing::PrintToString(text);
    const std::string bad = test_support::spoiled(utf8, random);
    ASSERT_TRUE(decodes_as_reference(utf8) && decodes_as_reference(bad)) << testing::PrintToString(bad);
    for (const bool is_big : {false, true}) {
      const std::string utf16 = is_big ? "UTF-16BE" : "UTF-16LE", utf32 = is_big ? "UTF-32BE" : "UTF-32LE";
      ASSERT_EQ(encode(text, utf16), bytes_of(replaced, is_big));
      ASSERT_EQ(encode(text, utf32), bytes_of(points_of(replaced), is_big));
      ASSERT_EQ(decode(bytes_of(text + u'x', is_big) + 'x', utf16), replaced + u"x\uFFFD");
      const std::u32string with_none = points_of(text + u'x') + char32_t{0x110000};
      ASSERT_EQ(decode(bytes_of(with_none, is_big) + "xyz", utf32), replaced + u"x\uFFFD\uFFFD");
    }
  }
}

TEST(NamedEncoding, AnUnknownNameIsThrownAndSaid) {
  for (const std::string name : {"klingon", "", "ISO-8859-77", "windows-99999999999", "cp", "cs", "cp12 52a"}) {
    EXPECT_THROW(encode(u"x", name), unknown_encoding) << name;
    EXPECT_THAT([&] { (void)decode("x", name); },
                testing::ThrowsMessage<unknown_encoding>(testing::HasSubstr('"' + name + '"')));
  }
}

// Natively the system's page is another one, and under the four bytes nothing may change for that.
TEST(Gb18030, CountsItsSequencesOfFourBytesWhateverPairsTheSystemsPageHas) {
  const ustring text = u"\u0080\u0452\u4DFF\u9FA6\uD7FF\uE76C\uFFFF";
  const std::string bytes =
      "\x81\x30\x81\x30\x81\x30\xD3\x30\x82\x35\x8F\x32\x82\x35\x8F\x33\x83\x36\xC7\x38\x83\x36\xC7\x39\x84\x31\xA4"
      "\x39";
  EXPECT_EQ(encode(text, "GB18030"), bytes);
  EXPECT_EQ(decode(bytes, "GB18030"), text);
  EXPECT_EQ(decode("\x80\x81\x30\x81\x7F\x84\x32\xA4\x30 \xE3\x32\x9A\x36\xFF", "GB18030"),
            u"\uFFFD\uFFFD0\uFFFD\x7F\uFFFD2\uFFFD0 \uFFFD2\uFFFD6\uFFFD");
  EXPECT_EQ(decode("\x84\x31\xA5\x30 ", "GB18030"), u"\uFFFD1\uFFFD0 ") << "behind the last of the first plane";
}

}  // namespace

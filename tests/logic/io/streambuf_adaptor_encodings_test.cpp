// Adaptors over the real converters: however text is cut, writing gives the bytes of `encode`, and reading gives the
// units of `decode`.
#include <fl/io.hpp>
#include <i18n/encoding.hpp>

#include <boost/smart_ptr/make_shared.hpp>
#include <gtest/gtest.h>

#include <iterator>
#include <sstream>
#include <string>

namespace {

using namespace foundation::core::io;
using fl::ustring;
using fl::i18n::decode;
using fl::i18n::encode;

// Natively the code pages are made up, and there are few.
const char* const encodings[] = {
    "UTF-8",    "UTF-16",    "UTF-16LE", "UTF-16BE",   "UTF-32",  "UTF-32BE",
    "US-ASCII", "Shift_JIS", "EUC-JP",   "GBK",        "GB18030", "windows-1252",
#ifdef _WIN32
    "EUC-KR",   "Big5",      "KOI8-R",   "ISO-8859-2",
#endif
};

/// ASCII, European and Cyrillic letters, kana and ideographs, Hangul, two characters beyond the first plane.
const ustring samples = u"a\u00E9\u0159\u0416\u20AC\u3042\uFF71\u4E2D\u65E5\uD55C\u00DF\U0001F600\U00020000z";

ustring long_text() {
  ustring text;
  while (text.size() < 1100) {
    text += samples + ustring(text.size() % 7, u'-');
  }
  return text;
}

std::string written_in_pieces(const ustring& text, const char* encoding, std::size_t first, std::size_t piece) {
  const auto bytes = boost::make_shared<std::stringbuf>();
  const auto adaptor = make_ustreambuf_adaptor(bytes, encoding);
  for (std::size_t at = 0, end = first; at != text.size(); at = end, end = std::min(text.size(), at + piece)) {
    const auto units = static_cast<std::streamsize>(end - at);
    if (units == 1) {  // a way of its own
      EXPECT_EQ(adaptor->sputc(text[at]), text[at]);
    } else {
      EXPECT_EQ(adaptor->sputn(text.data() + at, units), units);
    }
  }
  return bytes->str();
}

template <class Unit>
std::basic_string<Unit> all_of(std::basic_streambuf<Unit>& buffer) {
  return {std::istreambuf_iterator<Unit>(&buffer), {}};
}

TEST(Adaptor, WritesTheBytesOfEncodeHoweverTheTextIsCut) {
  const ustring text = long_text();
  for (const char* const encoding : encodings) {
    const std::string bytes = encode(text, encoding);
    for (std::size_t first = 0; first <= 64; ++first) {
      EXPECT_EQ(written_in_pieces(text, encoding, first, text.size()), bytes) << encoding << " " << first;
    }
    for (const std::size_t piece : {1, 2, 3, 1023, 1024, 1025}) {
      EXPECT_EQ(written_in_pieces(text, encoding, piece, piece), bytes) << encoding << " " << piece;
    }
  }
}

TEST(Adaptor, ReadsTheUnitsOfDecodeWhereverACharacterMeetsTheEndOfABlock) {
  for (const char* const encoding : encodings) {
    const std::size_t width = encode(u"aa", encoding).size() - encode(u"a", encoding).size();
    for (std::size_t filler = 1024 / width - 24; filler <= 1024 / width + 2; ++filler) {
      const std::string bytes = encode(ustring(filler, u'a') + samples + long_text(), encoding);
      const auto source = boost::make_shared<std::stringbuf>(bytes);
      EXPECT_EQ(all_of(*make_ustreambuf_adaptor(source, encoding)), decode(bytes, encoding))
          << encoding << " " << filler;
      source->str(bytes);
      const ustring through_utf8 = decode(all_of(*make_utf8streambuf_adaptor(source, encoding)), "UTF-8");
      EXPECT_EQ(through_utf8, decode(bytes, encoding)) << encoding << " " << filler;
    }
  }
}

// Natively the system's page is another one, and under the four bytes nothing may change for that.
TEST(Gb18030, CountsItsSequencesOfFourBytesWhateverPairsTheSystemsPageHas) {
  const ustring text = u"\u0080\u0452\u4DFF\u9FA6\uD7FF\uE76C\uFFFF";
  const std::string bytes = encode(text, "GB18030");
  EXPECT_EQ(bytes,
            "\x81\x30\x81\x30\x81\x30\xD3\x30\x82\x35\x8F\x32\x82\x35\x8F\x33\x83\x36\xC7\x38\x83\x36\xC7\x39\x84\x31"
            "\xA4\x39");
  EXPECT_EQ(decode(bytes, "GB18030"), text);
}

TEST(Adaptor, OffersUtf16ToWhoReadsAndWritesBytes) {
  const auto units = boost::make_shared<std::basic_stringbuf<char16_t>>();
  const auto adaptor = make_streambuf_adaptor(units, "UTF-8");
  const std::string bytes = encode(long_text(), "UTF-8");
  for (const char byte : bytes) {
    EXPECT_EQ(adaptor->sputc(byte), std::char_traits<char>::to_int_type(byte));
  }
  EXPECT_EQ(units->str(), long_text());
  EXPECT_EQ(all_of(*adaptor), bytes);

  const auto file = boost::make_shared<std::stringbuf>();
  const auto utf8 = make_utf8streambuf_adaptor(file, "UTF-16LE");
  EXPECT_EQ(utf8->sputn(bytes.data(), static_cast<std::streamsize>(bytes.size())),
            static_cast<std::streamsize>(bytes.size()));
  EXPECT_EQ(file->str(), encode(long_text(), "UTF-16LE"));
  EXPECT_THROW(make_streambuf_adaptor(units, "klingon"), fl::i18n::unknown_encoding);
}

TEST(Adaptor, HoldsHalfACharacterBackUntilTheRestComes) {
  std::stringstream bytes;
  {
    uostream out = make_uostream_adaptor(bytes, "UTF-8");
    out << u'\xD83D';
    EXPECT_TRUE(out.good() && bytes.str().empty());
    out << u'\xDE00';
    EXPECT_EQ(bytes.str(), "\xF0\x9F\x98\x80");
    out << 42 << std::endl;
  }
  bytes << std::string(1500, 'x') + "\xF0\x9F";
  uistream in = make_uistream_adaptor(bytes, "UTF-8");
  ustring line;
  EXPECT_TRUE(std::getline(in, line));
  EXPECT_EQ(line, u"\U0001F60042");
  EXPECT_TRUE(std::getline(in, line));
  EXPECT_EQ(line, ustring(1500, u'x')) << "half a character at the end of everything is dropped";
  EXPECT_TRUE(in.eof());
}

}  // namespace

// Conversion in pieces, against that of whole texts, which other tests compare with oracles.
#include <i18n/encoding.hpp>
#include <i18n/stream_converter.hpp>

#include "any_text.hpp"
#include "every_test.hpp"
#include "in_pieces.hpp"

namespace {

using fl::ustring;
using namespace fl::i18n;
using namespace std::string_literals;
using test_support::convert_in_pieces;
using test_support::expect_pieces_give;
using test_support::seeded_random;

constexpr const char* names[] = {
    "UTF-8",      "UTF-8-BOM",    "UTF-16",       "UTF-16LE",    "UTF-16BE",  "UTF-32",  "UTF-32LE", "UTF-32BE",
    "US-ASCII",   "ISO-8859-1",   "windows-1252", "ISO-8859-16", "Shift_JIS", "GB18030", "EUC-JP",
#ifdef _WIN32
    "ISO-8859-8", "windows-1255", "EUC-KR",       "GBK",         "Big5",      "IBM037",  "SYSTEM",
#endif
};

TEST(StreamConverter, TellsBetweenCharactersWhetherAsciiStaysTheSame) {
  for (const std::string name : {"UTF-8", "Shift_JIS", "UTF-16"}) {
    const stream_codecvt_ustring_to_string converter(name, true);
    char bytes[8];
    char* to = bytes;
    const char16_t* from = u"x";
    converter.convert(&to, bytes + 8, &from, from + 1, false);
    EXPECT_EQ(converter.passes_ascii(), name != "UTF-16") << name;
  }
}

// The one of ISO-8859-1 once did before the first half of a pair, which it then held.
TEST(StreamConverter, AStrictOneAsksForRoomOnlyIfItHasSomethingToWrite) {
  for (const char* const name : names) {
    const stream_codecvt_ustring_to_string converter(name, false);
    char area[8];
    char* to = area;
    const char16_t text[] = {u'a', u'\xD83D'}, *from = text;
    converter.convert(&to, area + 8, &from, text + 1, false);
    const auto written = to - area;
    const stream_codecvt_ustring_to_string other(name, false);
    to = area;
    from = text;
    EXPECT_EQ(other.convert(&to, area + written, &from, text + 2, false), 0U) << name;
  }
}

TEST(StreamConverter, PiecesPutTogetherGiveWhatTheWholeGives) {
  seeded_random random;
  for (int i = 0; i != 500 && !HasFailure(); ++i) {
    const char* const name = random.pick(names);
    const ustring text = test_support::any_text(random);
    const std::string utf8 = test_support::spoiled(encode(text, "UTF-8"), random);
    const std::string bytes = test_support::spoiled(encode(text, name), random);
    expect_pieces_give<stream_codecvt_ustring_to_string>(encode(text, name), text, name, random);
    expect_pieces_give<stream_codecvt_string_to_ustring>(decode(bytes, name), bytes, name, random);
    expect_pieces_give<stream_codecvt_utf8string_to_string>(encode(decode(utf8, "UTF-8"), name), utf8, name, random);
    expect_pieces_give<stream_codecvt_string_to_utf8string>(encode(decode(bytes, name), "UTF-8"), bytes, name, random);
  }
}

// Kernels write without looking where the area ends: how much they are given decides.
TEST(StreamConverter, WritesNothingBehindTheAreaWhateverThereIsTooMuchOf) {
  const std::string parts[] = {"a", "\x80", "\xC3\xA4", "\xE2\x82\xAC", "\xF0\x9F\x98\x80", "\xE2\x82"};
  seeded_random random;
  for (int i = 0; i != 3000; ++i) {
    std::string text;
    for (int runs = 0; runs != 3; ++runs) {
      const std::string& part = random.pick(parts);
      for (std::uint64_t left = random.below(500); left != 0; --left) {
        text += part;
      }
    }
    const ustring units = decode(text, "UTF-8");
    const std::size_t room = 1 + random.below(units.size() + 1), room_of_bytes = 1 + random.below(3 * room);
    ustring area(room + 64, u'?');
    char16_t* to = area.data();
    const char* from = text.data();
    stream_codecvt_string_to_ustring("UTF-8", true).convert(&to, to + room, &from, from + text.size(), false);
    ASSERT_TRUE(area.substr(room) == ustring(64, u'?') && units.starts_with({area.data(), to}));
    std::string bytes(room_of_bytes + 64, '?');
    char* to_byte = bytes.data();
    const char16_t* from_unit = units.data();
    stream_codecvt_ustring_to_string("UTF-8", true)
        .convert(&to_byte, to_byte + room_of_bytes, &from_unit, from_unit + units.size(), false);
    ASSERT_EQ(bytes.substr(room_of_bytes), std::string(64, '?'));
  }
}

TEST(StreamConverter, TakesAMarkAwayOnceAndWritesItOnce) {
  const struct {
    const char* name;
    std::string bytes;
    ustring text;
    std::string written;
  } cases[] = {{"UTF-8-BOM", "\xEF\xBB\xBF\xEF\xBB\xBFz", u"\uFEFFz", "\xEF\xBB\xBF\xEF\xBB\xBFz"},
               {"utf-8-sig", "\xEF\xBB", u"\uFFFD", "\xEF\xBB\xBF\xEF\xBF\xBD"},
               {"utf8-bom", "z", u"z", "\xEF\xBB\xBFz"},
               {"UTF-16", "\xFE\xFF\xFE\xFF", u"\uFEFF", "\xFF\xFE\xFF\xFE"},
               {"UTF-16", "\xFF\xFE", u"", "\xFF\xFE"},
               {"UTF-16", "\xFF\xFD", u"\uFFFD", "\xFF\xFE\xFD\xFF"},
               {"UTF-32", "\xFF\xFE\0\0\x7A\0\0\0"s, u"z", "\xFF\xFE\0\0\x7A\0\0\0"s},
               {"UTF-32", "\0\0\xFE\xFF\0\0\0\x7A"s, u"z", "\xFF\xFE\0\0\x7A\0\0\0"s},
               {"UTF-32", "\xFF\xFE\0"s, u"\uFFFD", "\xFF\xFE\0\0\xFD\xFF\0\0"s}};
  seeded_random random;
  for (const auto& [name, bytes, text, written] : cases) {
    EXPECT_EQ(decode(bytes, name), text) << name;
    EXPECT_EQ(encode(text, name), written) << name;
    for (int i = 0; i != 100; ++i) {
      expect_pieces_give<stream_codecvt_string_to_ustring>(text, bytes, name, random);
      expect_pieces_give<stream_codecvt_ustring_to_string>(written, text, name, random);
    }
  }
}

template <class Converter, class Out, class In>
void expect_refusal(const char* name, const std::basic_string<In>& text, std::uint64_t position,
                    const std::basic_string<Out>& before, const std::string& what) {
  seeded_random random;
  for (int i = 0; i != 200; ++i) {
    const Converter converter(name, false);
    std::basic_string<Out> result;
    const std::basic_string_view<In> all(text);
    convert_in_pieces(converter, all.substr(0, position), random, result);
    result.clear();  // of another text, before
    try {
      convert_in_pieces(converter, all, random, result);
      FAIL() << name << " took it";
    } catch (const conversion_error& error) {
      ASSERT_EQ(error.position(), position) << name;
      ASSERT_EQ(error.what(), what);
    }
    ASSERT_EQ(result, before) << name;
  }
}

TEST(StreamConverter, AStrictOneSaysWhatItRefusesAndWhereAndHasWrittenAllBefore) {
  using to_units = stream_codecvt_string_to_ustring;
  using to_bytes = stream_codecvt_ustring_to_string;
  expect_refusal<to_units>("UTF-8", "abc\xE2\x82\xAC\xE2\x82x"s, 6, u"abc\u20AC"s, "ill-formed \"UTF-8\" at byte 6");
  expect_refusal<to_units>("utf-16", "\xFF\xFEz\0\x3D\xD8y\0"s, 4, u"z"s, "ill-formed \"utf-16\" at byte 4");
  expect_refusal<to_units>("EUC-JP", "a\x8F\xB0\xA1\x8F\xB0"s, 4, decode("a\x8F\xB0\xA1", "EUC-JP"),
                           "ill-formed \"EUC-JP\" at byte 4");
  expect_refusal<to_bytes>("ISO-8859-16", u"twenty characters...\u0219\U0001F600"s, 21, "twenty characters...\xBA"s,
                           "U+1F600 is not in \"ISO-8859-16\", at unit 21");
  expect_refusal<to_bytes>("US-ASCII", u"a\U0001F600"s, 1, "a"s, "U+1F600 is not in \"US-ASCII\", at unit 1");
  expect_refusal<to_bytes>("UTF-8", u"\u00E9\xD83D\u00E9"s, 1, "\xC3\xA9"s, "U+D83D is not in \"UTF-8\", at unit 1");
  expect_refusal<stream_codecvt_string_to_utf8string>("GB18030", "a\x81\x30\x81\x30\x84\x31\xFF"s, 5, "a\xC2\x80"s,
                                                      "ill-formed \"GB18030\" at byte 5");
  std::string long_text;
  while (long_text.size() < 1500) {
    long_text += "\xC3\xA9 ";
  }
  expect_refusal<stream_codecvt_utf8string_to_string>("windows-1252", long_text + "\xF0\x9F\x98\x80", long_text.size(),
                                                      encode(decode(long_text, "UTF-8"), "windows-1252"),
                                                      "U+1F600 is not in \"windows-1252\", at byte 1500");
  expect_refusal<stream_codecvt_utf8string_to_string>("US-ASCII", "ab\xC3z"s, 2, "ab"s,
                                                      "ill-formed \"UTF-8\" at byte 2");
}

}  // namespace

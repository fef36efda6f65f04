// Conversion in pieces, against that of whole strings; what the encodings contain is tested elsewhere.
#include <i18n/encoding.hpp>
#include <i18n/stream_converter.hpp>

#include "seeded_random.hpp"

#include <gtest/gtest.h>

#include <algorithm>
#include <string>
#include <string_view>
#include <vector>

namespace {

using fl::ustring;
using namespace fl::i18n;
using namespace std::string_literals;

constexpr std::size_t areas[] = {1, 2, 3, 7, 5000};
constexpr const char* names[] = {
    "UTF-8",      "UTF-8-BOM",    "UTF-16",       "UTF-16LE",    "UTF-16BE",  "UTF-32",  "UTF-32LE",
    "UTF-32BE",   "US-ASCII",     "windows-1252", "ISO-8859-16", "Shift_JIS", "GB18030", "EUC-JP",
#ifdef _WIN32
    "ISO-8859-8", "windows-1255", "EUC-KR",       "GBK",         "Big5",      "IBM037",  "SYSTEM",
#endif
};

/// Feeds pieces of `first` units once and then `size` units. All memory has exactly the size that the converter is
/// told, so that the sanitizer sees what lies beyond.
template <class Out, class In>
void feed(const stream_converter<Out, In>& converter, std::basic_string_view<In> text, std::size_t first,
          std::size_t size, std::size_t area_size, std::basic_string<Out>& result, bool last_by_itself = false) {
  std::vector<Out> area(area_size);
  for (bool last = false; !last; first = size) {
    const std::basic_string_view<In> taken = text.substr(0, first);
    const std::vector<In> piece(taken.begin(), taken.end());
    text.remove_prefix(taken.size());
    last = text.empty() && (piece.empty() || !last_by_itself);
    const In* from = piece.data();
    for (bool more = true, again = false; more; again = true) {
      Out* to = area.data();
      try {
        more = converter.convert(&to, to + area_size, &from, piece.data() + piece.size(), last) != 0;
      } catch (const conversion_error&) {
        result.append(area.data(), to);
        throw;
      }
      result.append(area.data(), to);
      ASSERT_TRUE(!again || to != area.data()) << "called again for nothing";
    }
    ASSERT_EQ(from, piece.data() + piece.size());
  }
}

template <class Converter, class Out, class In>
void expect_pieces_give(const std::basic_string<Out>& whole, const std::basic_string<In>& text, const char* name) {
  const Converter converter(name, true);
  for (const std::size_t area : areas) {
    const auto check = [&](std::size_t first, std::size_t size) {
      std::basic_string<Out> result;
      feed(converter, std::basic_string_view<In>(text), first, size, area, result, first % 2 == 0);
      ASSERT_TRUE(result == whole) << name << " cut at " << first << ", then each " << size << ", into " << area;
    };
    for (std::size_t first = 0; first != 65; ++first) {
      check(first, 1000);
    }
    for (const std::size_t size : {1, 2, 3, 1023, 1024, 1025}) {
      check(size, size);
    }
  }
}

/// Characters of every length in every encoding, runs of ASCII, lone surrogates.
ustring sample_text() {
  const ustring parts[] = {u"plain ASCII that is longer than two blocks of sixteen",
                           u"\u00E9\u20AC",
                           u"\uFF71",
                           u"\u65E5\u672C",
                           u"\u4E02\u00DF\u0159",
                           u"\uD55C\uFEFF",
                           u"\U0001F600x",
                           u"\U00020000\U0010FFFF",
                           u"\u0219\u1E3F\uFFFD"};
  test_support::seeded_random random;
  ustring text = u"\u65E5\u672CA\U0001F600\U0001F601";
  while (text.size() < 1500) {
    text += random.pick(parts);
    if (random.chance(20)) {
      text += static_cast<char16_t>(0xD800 + random.below(0x800));
    }
  }
  return text + u"\xD83D";
}

/// Text of the encoding with much that is ill-formed, and an incomplete character at the end.
std::string sample_bytes(const char* name) {
  std::string bytes = encode(sample_text(), name);
  test_support::seeded_random random;
  for (std::size_t at = 40; at < bytes.size(); at += 1 + random.below(40)) {
    bytes[at] = static_cast<char>(random.chance(50) ? random.pick("\x81\x8E\x8F\xB0\xE2\xF0\x30\x84"s) : random.bits());
  }
  return bytes + "\x81\x30\x81";
}

TEST(StreamConverter, PiecesPutTogetherGiveWhatTheWholeGives) {
  for (const char* const name : names) {
    const ustring text = sample_text();
    const std::string utf8 = sample_bytes("UTF-8");
    const std::string bytes = sample_bytes(name);
    expect_pieces_give<stream_codecvt_ustring_to_string>(encode(text, name), text, name);
    expect_pieces_give<stream_codecvt_string_to_ustring>(decode(bytes, name), bytes, name);
    expect_pieces_give<stream_codecvt_utf8string_to_string>(encode(decode(utf8, "UTF-8"), name), utf8, name);
    expect_pieces_give<stream_codecvt_string_to_utf8string>(encode(decode(bytes, name), "UTF-8"), bytes, name);
    if (HasFailure()) {
      return;
    }
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
  for (const auto& each : cases) {
    EXPECT_EQ(decode(each.bytes, each.name), each.text) << each.name;
    EXPECT_EQ(encode(each.text, each.name), each.written) << each.name;
    expect_pieces_give<stream_codecvt_string_to_ustring>(each.text, each.bytes, each.name);
    expect_pieces_give<stream_codecvt_ustring_to_string>(each.written, each.text, each.name);
  }
}

template <class Converter, class Out, class In>
void expect_refusal(const char* name, const std::basic_string<In>& text, std::uint64_t position,
                    const std::basic_string<Out>& before, const std::string& what) {
  for (const std::size_t area : areas) {
    for (std::size_t first = 0; first <= text.size(); ++first) {
      const Converter converter(name, false);
      std::basic_string<Out> result;
      feed(converter, std::basic_string_view<In>(text).substr(0, position), first, 2, area, result);
      result.clear();  // of another text, before
      try {
        feed(converter, std::basic_string_view<In>(text), first, first % 3 + 1, area, result);
        FAIL() << name << " took it";
      } catch (const conversion_error& error) {
        ASSERT_EQ(error.position(), position) << name << " cut at " << first << ", into " << area;
        ASSERT_EQ(error.what(), what) << first;
      }
      ASSERT_EQ(result, before) << name << " cut at " << first << ", into " << area;
    }
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
  const std::string long_text = [] {
    std::string text;
    while (text.size() < 1500) {
      text += "\xC3\xA9 ";
    }
    return text;
  }();
  expect_refusal<stream_codecvt_utf8string_to_string>("windows-1252", long_text + "\xF0\x9F\x98\x80", long_text.size(),
                                                      encode(decode(long_text, "UTF-8"), "windows-1252"),
                                                      "U+1F600 is not in \"windows-1252\", at byte 1500");
  expect_refusal<stream_codecvt_utf8string_to_string>("US-ASCII", "ab\xC3z"s, 2, "ab"s,
                                                      "ill-formed \"UTF-8\" at byte 2");
}

}  // namespace

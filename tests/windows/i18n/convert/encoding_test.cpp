// Named encodings, the active code page and file names. The tables of code pages are compared with what the system
// says; the encodings that are the library's own with facts.
#include <i18n/convert.hpp>
#include <i18n/encoding.hpp>
#include <i18n/filesystem.hpp>
#include <i18n/stream_converter.hpp>

#include "every_test.hpp"
#include "import_patch.hpp"

#include <boost/system/system_error.hpp>

#include <windows.h>

namespace {

using fl::ustring;
using fl::i18n::decode;
using fl::i18n::encode;
using namespace std::string_literals;
using test_support::injected;
using testing::HasSubstr;
using testing::Property;
using testing::Throws;
using testing::ThrowsMessage;

constexpr const char* library = "libqxi18n.dll";
const ustring lone_high(1, 0xD83D);

TEST(NamedEncoding, EachNameAndAliasReachesItsCodePage) {
  const struct {
    std::vector<const char*> names;
    std::string bytes;
    ustring text;
  } cases[] = {
      {{"ISO-8859-1", "iso_8859-1:1987", "l1", "csISOLatin1", "IBM819"}, "\x80\xE9\xFF", u"\u0080\u00E9\u00FF"},
      {{"windows-1252", "CP1252", "Windows_1252", "cswindows1252"}, "\x80", u"\u20AC"},
      {{"IBM037", "cp037", "ibm37"}, "\xC1\xF1", u"A1"},
      {{"Shift_JIS", "sjis", "MS_Kanji", "windows-31j", "cp932"}, "a\x93\xFA\xB1", u"a\u65E5\uFF71"},
      {{"GBK", "GB2312"}, "\xD6\xD0\xB9\xFA", u"\u4E2D\u56FD"},
      {{"ISO-8859-8-I", "hebrew"}, "\xE0", u"\u05D0"},
      {{"ISO-8859-10", "Latin6"}, "\xA1\xFF", u"\u0104\u0138"},
      {{"ISO-8859-11", "TIS-620", "windows-874"}, "\xA1", u"\u0E01"},
      {{"ISO-8859-14", "iso-celtic"}, "\xA1\xFF", u"\u1E02\u00FF"},
      {{"ISO-8859-16", "ISO_8859-16:2001"}, "\xA1\xAA", u"\u0104\u0218"},
      {{"EUC-JP", "csEUCPkdFmtJapanese", "x-euc-jp"}, "a\xB0\xA1\x8E\xB1\x8F\xB0\xA1", u"a\u4E9C\uFF71\u4E02"},
      {{"GB18030", "csGB18030", "54936"}, "\xA2\xE3\x81\x30\x81\x30\x94\x39\xFC\x36", u"\u20AC\u0080\U0001F600"},
      {{"UTF-8", "utf8", "Utf_8", "csUTF8", "cp65001"}, "\xE2\x82\xAC\xF0\x9F\x98\x80", u"\u20AC\U0001F600"},
  };
  for (const auto& [names, bytes, text] : cases) {
    for (const char* const name : names) {
      EXPECT_EQ(decode(bytes, name), text) << name;
      EXPECT_EQ(encode(text, name), bytes) << name;
      EXPECT_EQ(decode("", name), u"") << name;
    }
  }
}

TEST(NamedEncoding, ReplacesWhatIsIllFormedAndWhatTheEncodingLacks) {
  EXPECT_EQ(decode("\x8F\xB0z\x8E\xFF\xB0\xB0\xA1\x8F\x8F\xB0\xA1\xB0", "EUC-JP"),
            u"\uFFFD\uFFFDz\uFFFD\uFFFD\u65ED\uFFFD\uFFFD\u4E02\uFFFD");
  // What stands behind the end of the view must not complete its last character.
  EXPECT_EQ(decode(std::string_view("\x93\xFA").substr(0, 1), "Shift_JIS"), u"\uFFFD");
  EXPECT_EQ(decode(std::string_view("\xFE\xFF").substr(0, 1), "UTF-16"), u"\uFFFD");
  for (const char* const name : {"US-ASCII", "ISO-8859-1", "Shift_JIS", "EUC-JP"}) {
    EXPECT_EQ(encode(u"a\u2C00\U0001F600", name), "a???") << name;
  }
}

template <class Text>
std::uint64_t hash_of(const Text& text) {
  std::uint64_t hash = 0xCBF29CE484222325;
  for (const auto unit : text) {
    hash = (hash ^ std::make_unsigned_t<typename Text::value_type>(unit)) * 0x100000001B3;
  }
  return hash;
}

ustring all_code_points() {
  ustring text;
  for (char32_t value = 0; value != 0x110000; ++value) {
    if (value >= 0x10000) {
      text += {static_cast<char16_t>(0xD7C0 + (value >> 10)), static_cast<char16_t>(0xDC00 + (value & 0x3FF))};
    } else if (value < 0xD800 || value > 0xDFFF) {
      text += static_cast<char16_t>(value);
    }
  }
  return text;
}

// The hashes are those of another implementation's tables.
TEST(NamedEncoding, Gb18030AndAllPartsOfIso8859AreThoseOfTheStandards) {
  const ustring all = all_code_points();
  const std::string bytes = encode(all, "GB18030");
  EXPECT_EQ(hash_of(bytes), 0x6DB6EB5BA8D28855U);
  EXPECT_TRUE(decode(bytes, "GB18030") == all);
  std::string upper_half;
  for (int byte = 0x80; byte != 0x100; ++byte) {
    upper_half += static_cast<char>(byte);
  }
  ustring units;
  for (const int part : {1, 2, 3, 4, 5, 6, 7, 8, 9, 10, 11, 13, 14, 15, 16}) {
    const std::string name = "ISO-8859-" + std::to_string(part);
    ustring text = decode(upper_half, name);
    units += text;
    std::replace(text.begin(), text.end(), u'\uFFFD', u'?');
    EXPECT_EQ(decode(encode(text, name), name), text) << name;
  }
  EXPECT_EQ(hash_of(units), 0xC31F201D9D8DF574U);
}

TEST(NamedEncoding, EucJpGivesBackEveryCharacterOrReplacesIt) {
  const ustring all = all_code_points().substr(0, 0xF800);
  const ustring back = decode(encode(all, "EUC-JP"), "EUC-JP");
  ASSERT_EQ(back.size(), all.size());
  for (std::size_t i = 0; i != all.size(); ++i) {
    ASSERT_TRUE(back[i] == all[i] || back[i] == u'?') << std::hex << int{all[i]};
  }
}

TEST(CodePages, AFailureOfTheSystemIsThrownAndTheNextUseReadsThePageWhichIsThenKept) {
  // A page that no other test of this program uses.
  injected<decltype(&GetCPInfo)> info(library, "GetCPInfo");
  injected<decltype(&MultiByteToWideChar)> units(library, "MultiByteToWideChar");
  injected<decltype(&WideCharToMultiByte)> bytes(library, "WideCharToMultiByte");
  const auto expect_thrown = [](auto& function, std::uint64_t call) {
    function.reset();  // The text of an exception is converted by one of them, too.
    function.fail_at(call, 0, ERROR_NOT_ENOUGH_MEMORY);
    EXPECT_THAT(
        [] { (void)decode("\x88\x61", "johab"); },
        Throws<boost::system::system_error>(Property(
            &boost::system::system_error::code, Property(&boost::system::error_code::value, ERROR_NOT_ENOUGH_MEMORY))));
    function.reset();
  };
  expect_thrown(info, 1);
  expect_thrown(units, 1);
  expect_thrown(units, 2000);
  expect_thrown(bytes, 1);
  EXPECT_EQ(decode("\x88\x61", "johab"), u"\uAC00");
  units.reset(), bytes.reset();
  EXPECT_EQ(decode("\x88", "johab"), u"\uFFFD");
  EXPECT_EQ(encode(u"\uAC00\U0001F600", "johab"), "\x88\x61??");
  EXPECT_EQ(units.calls() + bytes.calls(), 0U);
}

TEST(CodePages, ThreadsThatUseThemAtOnceReadEachOnce) {
  injected<decltype(&GetCPInfo)> info(library, "GetCPInfo");
  std::vector<std::thread> threads;
  std::atomic<int> right = 0;
  for (int thread = 0; thread != 8; ++thread) {
    threads.emplace_back([&] {
      for (const char* const name : {"IBM860", "IBM861", "IBM863", "IBM865"}) {
        right += decode("\x80", name) == u"\u00C7" && encode(u"\u00C7", name) == "\x80";
      }
    });
  }
  for (std::thread& thread : threads) {
    thread.join();
  }
  EXPECT_EQ(right, 8 * 4);
  EXPECT_EQ(info.calls(), 4U);
}

std::wstring system_decode(UINT page, const std::string& bytes) {
  wchar_t units[8];
  const int count =
      MultiByteToWideChar(page, MB_ERR_INVALID_CHARS, bytes.data(), static_cast<int>(bytes.size()), units, 8);
  return {units, units + count};
}

std::string system_encode(UINT page, wchar_t unit) {
  char bytes[8];
  return {bytes, bytes + WideCharToMultiByte(page, WC_NO_BEST_FIT_CHARS, &unit, 1, bytes, 8, nullptr, nullptr)};
}

/// What the library is to make of the bytes: what the system makes of them, or one replacement and then the second
/// byte.
ustring expected_units(UINT page, const std::string& bytes) {
  const std::wstring units = system_decode(page, bytes);
  if (!units.empty()) {
    return {units.begin(), units.end()};
  }
  return bytes.size() == 1 ? u"\uFFFD" : u"\uFFFD" + expected_units(page, bytes.substr(1));
}

void expect_as_the_system(UINT page, const std::string& name) {
  for (unsigned lead = 0; lead != 0x100; ++lead) {
    const bool is_lead = IsDBCSLeadByteEx(page, static_cast<BYTE>(lead));
    for (unsigned trail = 1; trail != (is_lead ? 0x100 : 2); ++trail) {
      const std::string bytes = is_lead ? std::string{static_cast<char>(lead), static_cast<char>(trail)}
                                        : std::string(1, static_cast<char>(lead));
      ASSERT_EQ(decode(bytes, name), expected_units(page, bytes)) << name << testing::PrintToString(bytes);
    }
  }
  ustring all;
  std::string expected;
  for (unsigned unit = 0; unit != 0x10000; ++unit) {
    if (unit < 0xD800 || unit > 0xDFFF) {
      const auto wide = static_cast<wchar_t>(unit);
      const std::string bytes = system_encode(page, wide);
      const bool comes_back = system_decode(page, bytes) == std::wstring(1, wide);
      all += static_cast<char16_t>(unit);
      expected += comes_back ? bytes : system_encode(page, 0xFFFF);
    }
  }
  ASSERT_TRUE(encode(all, name) == expected) << name;
}

// Behind the others, which want pages that nobody has used.
TEST(CodePages, EveryByteAndPairDecodesAndEveryUnitEncodesAsTheSystemSays) {
  std::map<std::string, UINT> pages = {
      {"KOI8-R", 20866}, {"KOI8-U", 21866}, {"macintosh", 10000}, {"x-mac-cyrillic", 10007}};
  for (const UINT part : {1U, 2U, 3U, 4U, 5U, 6U, 9U, 13U, 15U}) {
    pages["ISO-8859-" + std::to_string(part)] = 28590 + part;
  }
  for (UINT number = 0; number != 0x10000; ++number) {
    const std::string name = "cp" + std::to_string(number);
    try {
      (void)decode("", name);
      pages[name] = number == 819 ? 28591 : IsValidCodePage(number) ? number : 20000 + number;
    } catch (const fl::i18n::unknown_encoding&) {
    }
  }
  for (const char* const other : {"cp367", "cp51932", "cp54936", "cp65001"}) {
    EXPECT_EQ(pages.erase(other), 1U) << other;
  }
  EXPECT_GT(pages.size(), 40U);
  for (const auto& [name, page] : pages) {
    expect_as_the_system(page, name);
  }
}

TEST(StreamConverter, AllocatesOnlyWhenItIsMade) {
  injected<void* (*)(std::size_t)> allocations(library, "_Znwy");
  const fl::i18n::stream_codecvt_string_to_ustring to_units("Shift_JIS", true);
  const fl::i18n::stream_codecvt_utf8string_to_string to_bytes("UTF-16", true);
  EXPECT_NE(allocations.calls(), 0U);
  allocations.reset();
  for (const char byte : "\x93\xFA\xE6\x97\xA5 \xFF\x93"s) {
    const char* from = &byte;
    char16_t units[2];
    char16_t* unit = units;
    to_units.convert(&unit, units + 2, &from, &byte + 1, false);
    from = &byte;
    char bytes[8];
    char* to = bytes;
    to_bytes.convert(&to, bytes + 8, &from, &byte + 1, false);
  }
  EXPECT_EQ(allocations.calls(), 0U);
}

TEST(ToString, GivesTheActiveCodePageWhicheverThatIs) {
  const std::pair<UINT, std::string> cases[] = {
      {1252, "a\xE9???"}, {932, "a??\x93\xFA?"}, {CP_UTF8, "a\xC3\xA9\xE2\xB0\x80\xE6\x97\xA5\xEF\xBF\xBD"}};
  injected<decltype(&GetACP)> active(library, "GetACP");
  const ustring text = u"a\u00E9\u2C00\u65E5" + lone_high;
  for (const auto& [page, bytes] : cases) {
    active.handle_with([page](auto) { return page; });
    EXPECT_EQ(fl::i18n::to_string(text), bytes) << page;
    EXPECT_EQ(encode(text, "System"), bytes) << page;
  }
  active.handle_with([](auto) { return 54321U; });
  EXPECT_THROW(fl::i18n::to_string(u"x"), fl::i18n::unknown_encoding);
}

TEST(FileNames, IllFormedNamesAreKeptOrRefused) {
  const fl::filesystem::codecvt_filesystem_to_ustring lenient(true);
  const fl::filesystem::codecvt_filesystem_to_ustring strict(false);
  const fl::i18n::converter<char16_t, wchar_t>& base = lenient;
  const std::wstring lone{L'a', static_cast<wchar_t>(0xD83D), L'b'};
  EXPECT_EQ(strict.convert(L"C:\\\u4E2D\U0001F600"), u"C:\\\u4E2D\U0001F600");
  EXPECT_EQ(base.convert(lone), u"a" + lone_high + u"b");
  EXPECT_THROW(strict.convert(lone), std::range_error);
}

}  // namespace

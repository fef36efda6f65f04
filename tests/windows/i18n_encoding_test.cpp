// Named encodings, the active code page and file names. What the system's code pages contain is the system's affair;
// tested is that the right one is reached, that characters and bytes outside it are treated as promised, and the
// encodings that the library converts by itself.
#include <i18n/convert.hpp>
#include <i18n/encoding.hpp>
#include <i18n/filesystem.hpp>

#include <gtest/gtest.h>

#include "import_patch.hpp"

#include <boost/system/system_error.hpp>

#include <stdexcept>
#include <string>
#include <string_view>
#include <vector>

#include <windows.h>

namespace {

using fl::ustring;
using fl::i18n::decode;
using fl::i18n::encode;
using namespace std::string_literals;
using test_support::injected;

constexpr const char* library = "libqxi18n.dll";
const ustring lone_high(1, 0xD83D);

TEST(NamedEncoding, AnUnknownNameIsThrownAndSaid) {
  for (const std::string name : {"klingon", "", "ISO-8859-77", "windows-99999999999", "cp", "cs", "cp12 52a"}) {
    EXPECT_THROW(encode(u"x", name), fl::i18n::unknown_encoding) << name;
    try {
      (void)decode("x", name);
      ADD_FAILURE() << name;
    } catch (const fl::i18n::unknown_encoding& e) {
      EXPECT_NE(std::string(e.what()).find('"' + name + '"'), std::string::npos) << e.what();
    }
  }
}

TEST(NamedEncoding, EachNameAndAliasReachesItsCodePage) {
  const struct {
    std::vector<const char*> names;
    std::string bytes;
    ustring text;
  } cases[] = {
      {{"ISO-8859-1", "iso_8859-1:1987", "l1", "csISOLatin1", "IBM819"}, "\x80\xE9\xFF", u"\u0080\u00E9\u00FF"},
      {{"windows-1251"}, "\xC0", u"\u0410"},
      {{"windows-1252", "CP1252", "Windows_1252", "cswindows1252"}, "\x80", u"\u20AC"},
      {{"KOI8-R", "koi8-r", "csKOI8R"}, "\xC1", u"\u0430"},
      {{"IBM850", "cp850", "850", "csPC850Multilingual"}, "\x81\xE1", u"\u00FC\u00DF"},
      {{"IBM037", "cp037", "ibm37"}, "\xC1\xF1", u"A1"},
      {{"Shift_JIS", "sjis", "MS_Kanji", "windows-31j", "cp932"}, "a\x93\xFA\xB1", u"a\u65E5\uFF71"},
      {{"GBK", "GB2312"}, "\xD6\xD0\xB9\xFA", u"\u4E2D\u56FD"},
      {{"EUC-KR", "ks_c_5601-1987", "korean", "windows-949"}, "\xC7\xD1", u"\uD55C"},
      {{"UTF-8", "utf8", "Utf_8", "csUTF8", "cp65001"}, "\xE2\x82\xAC\xF0\x9F\x98\x80", u"\u20AC\U0001F600"},
      {{"UTF-16LE"}, "\xAC\x20\x3D\xD8\x00\xDE"s, u"\u20AC\U0001F600"},
      {{"UTF-16BE"}, "\x20\xAC\xD8\x3D\xDE\x00"s, u"\u20AC\U0001F600"},
      {{"UTF-32LE"}, "\xAC\x20\x00\x00\x00\xF6\x01\x00"s, u"\u20AC\U0001F600"},
      {{"UTF-32BE"}, "\x00\x00\x20\xAC\x00\x01\xF6\x00"s, u"\u20AC\U0001F600"},
      {{"UTF-16"}, "\xFF\xFE\x3D\xD8\x00\xDE"s, u"\U0001F600"},
      {{"UTF-32"}, "\xFF\xFE\x00\x00\x00\xF6\x01\x00"s, u"\U0001F600"},
  };
  for (const auto& each : cases) {
    for (const char* const name : each.names) {
      EXPECT_EQ(decode(each.bytes, name), each.text) << name;
      EXPECT_EQ(encode(each.text, name), each.bytes) << name;
      EXPECT_EQ(decode("", name), u"") << name;
    }
  }
}

TEST(NamedEncoding, DecodesByteOrderMarksAndReplacesWhatIsIllFormed) {
  const struct {
    const char* name;
    std::string bytes;
    ustring text;
  } cases[] = {
      {"UTF-16", "\xFE\xFF\x20\xAC", u"\u20AC"},
      {"UTF-32", "\x00\x00\xFE\xFF\x00\x00\x20\xAC"s, u"\u20AC"},
      {"US-ASCII", "a\x80\xFF", u"a\uFFFD\uFFFD"},
      {"UTF-16LE", "\x3D\xD8\x41\x00\x00"s, u"\uFFFDA\uFFFD"},
      {"UTF-32LE", "\x00\xD8\x00\x00\x00\x00\x11\x00\x41\x00\x00\x00\x41\x00"s, u"\uFFFD\uFFFDA\uFFFD"},
      {"Shift_JIS", "\x93 \x93\xFA\xFA", u"\uFFFD \u65E5\uFFFD"},
      {"windows-1253", "\xC1\xD2", u"\u0391\uFFFD"},
  };
  for (const auto& each : cases)
    EXPECT_EQ(decode(each.bytes, each.name), each.text) << each.name << testing::PrintToString(each.bytes);
  // What stands behind the end of the view must not complete its last character.
  EXPECT_EQ(decode(std::string_view("\x93\xFA").substr(0, 1), "Shift_JIS"), u"\uFFFD");
  EXPECT_EQ(decode(std::string_view("\xFE\xFF").substr(0, 1), "UTF-16"), u"\uFFFD");
}

TEST(NamedEncoding, WhatAnEncodingLacksIsReplacedByNothingSimilar) {
  for (const char* const name : {"US-ASCII", "ISO-8859-1", "windows-1252", "Shift_JIS", "GBK", "IBM437"})
    EXPECT_EQ(encode(u"a\u2C00\U0001F600", name), "a???") << name;
  EXPECT_EQ(encode(u"\u0100\uFF21", "windows-1252"), "??") << "not A with something left out";
  EXPECT_EQ(encode(lone_high + u"A", "UTF-16BE"), "\xFF\xFD\x00\x41"s);
  EXPECT_EQ(encode(lone_high, "UTF-32LE"), "\xFD\xFF\x00\x00"s);
}

TEST(ToString, GivesTheActiveCodePageWhicheverThatIsAndThrowsTheFailureOfTheSystem) {
  const struct {
    UINT page;
    std::string bytes;
  } cases[] = {{1252, "a\xE9???"}, {932, "a??\x93\xFA?"}, {CP_UTF8, "a\xC3\xA9\xE2\xB0\x80\xE6\x97\xA5\xEF\xBF\xBD"}};
  injected<decltype(&WideCharToMultiByte)> convert(library, "WideCharToMultiByte");
  convert.handle_with([](auto original, UINT page, DWORD flags, auto... rest) {
    // Wine ignores what the real system refuses: this flag for UTF-8.
    SetLastError(ERROR_INVALID_FLAGS);
    return page == CP_UTF8 && flags == WC_NO_BEST_FIT_CHARS ? 0 : original(page, flags, rest...);
  });
  injected<decltype(&GetACP)> active(library, "GetACP");
  for (const auto& each : cases) {
    active.handle_with([&](auto) { return each.page; });
    EXPECT_EQ(fl::i18n::to_string(u"a\u00E9\u2C00\u65E5" + lone_high), each.bytes) << each.page;
    EXPECT_EQ(fl::i18n::to_string(u""), "") << each.page;
  }
  convert.fail_always(0, ERROR_NOT_ENOUGH_MEMORY);
  try {
    (void)encode(u"x", "windows-1252");
    ADD_FAILURE() << "no exception";
  } catch (const boost::system::system_error& e) {
    EXPECT_EQ(e.code().value(), ERROR_NOT_ENOUGH_MEMORY);
  }
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

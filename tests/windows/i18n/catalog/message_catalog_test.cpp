// Messages from real catalog files. Directories cannot be taken away again, so each test has a folder and catalogs of
// its own.
#include <i18n/message_catalog.hpp>

#include "import_patch.hpp"
#include "support.hpp"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <windows.h>

#include <algorithm>
#include <filesystem>
#include <future>
#include <stdexcept>
#include <string>
#include <string_view>
#include <utility>

namespace {

using fl::ustring;
using fl::i18n::MessageCatalog;
using namespace std::string_view_literals;
using namespace testing;
using test_support::injected;

constexpr const char* library = "libqxi18n.dll";

/// A directory of catalogs, not yet known to the library.
struct catalogs {
  std::string path() const { return folder.file("").substr(0, folder.file("").size() - 1); }
  void add() const {
    const std::wstring wide = test_support::widen(path());
    MessageCatalog::add_directory(ustring(wide.begin(), wide.end()));
  }
  void write(const std::string& language, const std::string& name, const std::string& json) const {
    std::filesystem::create_directory(test_support::widen(folder.file(language)));
    test_support::write_file(folder.file(language + "\\" + name + ".json"), json);
  }
  test_support::temp_dir folder{"gr\xC3\xB6\xC3\x9F\x65-\xE6\x96\x87"};
};

// Before the first use of the library.
const catalogs first, second;
const test_support::scoped_variable variable("QX_MESSAGE_PATH", first.path() + ";;" + second.folder.file(""));
const std::string long_log = first.folder.file(std::string(230, 'x'));
const test_support::scoped_variable log_file("QX_LOG_FILE", long_log), log_level("QX_LOG", "*=all");

ustring text(const char* catalog, const char* mnemonic) {
  return MessageCatalog::get_message({catalog, mnemonic, {std::int64_t{5}, "\xC3\xBC", u"\u4E2D"}});
}

TEST(MessageCatalog, TakesEachMessageFromTheNearestLanguageAndInItFromTheNewestDirectory) {
  const catalogs older, newer;
  older.write("de-AT", "ORDER.x", R"({"a": "J\u00e4nner {0}"})");
  newer.write("de", "ORDER.x", R"({"a": "newer", "b": "newer"})");
  older.write("de", "ORDER.x", R"({"a": "older", "b": "older", "c": "older"})");
  first.write("de", "ORDER.x", R"({"b": "first", "c": "first", "d": "first"})");
  second.write("de", "ORDER.x", "{\"d\": \"second\", \"e\": \"\xE2\x82\xAC {0}: {1}, {2}\"}");
  newer.write("en", "ORDER.x", R"({"a": "English", "e": "English", "f": "only {0}"})");
  older.add();
  newer.add();
  MessageCatalog::set_language("DE-at");
  ustring all;
  for (const char* const mnemonic : {"a", "b", "c", "d", "e", "f"}) {
    all += text("ORDER:x", mnemonic) + u'|';
  }
  EXPECT_EQ(all, u"J\u00E4nner 5|newer|older|first|\u20AC 5: \u00FC, \u4E2D|only 5|");
  older.add();
  EXPECT_EQ(text("ORDER:x", "b"), u"older");
  EXPECT_THROW(MessageCatalog::add_directory(u""), std::invalid_argument);
  EXPECT_THROW(MessageCatalog::set_language("../de"), std::invalid_argument);
  EXPECT_EQ(MessageCatalog::language(), "de-AT");
  injected<decltype(&GetUserPreferredUILanguages)> languages(library, "GetUserPreferredUILanguages");
  languages.handle_with([](auto, DWORD, PULONG, PZZWSTR names, PULONG size) {
    constexpr std::wstring_view list = L"pt-BR\0en-US\0"sv;
    *size = static_cast<ULONG>(list.copy(names != nullptr ? names : std::wstring(99, 0).data(), 99)) + 1;
    return TRUE;
  });
  MessageCatalog::set_language("");
  EXPECT_EQ(MessageCatalog::language(), "pt-BR");
  EXPECT_EQ(text("ORDER:x", "a"), u"English");
}

TEST(MessageCatalog, AMissingMessageSaysWhatWasTriedAndABadFileWhatIsWrong) {
  const catalogs own;
  own.add();
  own.add();
  MessageCatalog::set_language("de-AT");
  const std::string begin = "no message \"name\" in the catalog \"NO:such\": languages tried: de-AT, de, en; ";
  using fl::i18n::missing_message;
  EXPECT_THAT(
      [] { text("NO:such", "name"); },
      Throws<missing_message>(AllOf(
          Property(&missing_message::catalog, "NO:such"), Property(&missing_message::mnemonic, "name"),
          Property(&missing_message::what, AllOf(StartsWith(begin + "directories tried: " + own.path() + ", "),
                                                 Not(HasSubstr(", " + own.path())),
                                                 HasSubstr(", " + first.path() + ", " + second.folder.file("")))))));
  injected<decltype(&CreateFileW)> opened(library, "CreateFileW");
  EXPECT_THROW(text("..\\X", "a"), fl::i18n::missing_message);
  EXPECT_EQ(opened.calls(), 0u) << "that can be no catalog's name";

  const auto says = [&](const std::string& reason) {
    EXPECT_THAT([] { text("BAD", "a"); },
                ThrowsMessage<fl::i18n::bad_catalog>(StartsWith(
                    "the message catalog " + own.folder.file("de\\BAD.json") + " cannot be used: " + reason)));
  };
  own.write("de", "BAD", "{\n\"a\": 1}");
  says("line 2, column ");
  opened.fail_always(INVALID_HANDLE_VALUE, ERROR_ACCESS_DENIED);
  says("CreateFileW: ");
  opened.reset();
  opened.handle_with([](auto original, LPCWSTR, auto... rest) { return original(L"NUL", rest...); });
  says("it is not a file on a disk");
  opened.reset();
  own.write("de", "BAD", R"({"a": "mended"})");
  EXPECT_EQ(text("BAD", "a"), u"mended");
}

TEST(MessageCatalog, ReadsAFileOnceUntilItIsToldToForgetAndHoldsNobodyUpMeanwhile) {
  const catalogs own;
  own.add();
  MessageCatalog::set_language("en");
  own.write("en", "ONCE", R"({"a": "first"})");
  EXPECT_EQ(text("ONCE", "a"), u"first");
  EXPECT_THROW(text("ONCE", "b"), fl::i18n::missing_message);
  own.write("en", "ONCE", R"({"a": "second"})");
  injected<decltype(&CreateFileW)> opened(library, "CreateFileW");
  EXPECT_THROW(text("ONCE", "b"), fl::i18n::missing_message);
  EXPECT_EQ(opened.calls(), 0u) << "that a file is not there is kept as well";
  own.write("en", "OTHER", R"({"a": "old"})");
  own.write("en", "THIRD", R"({"a": "third"})");
  bool is_first = true;
  opened.handle_with([&](auto original, auto... arguments) {
    const HANDLE file = original(arguments...);
    if (std::exchange(is_first, false)) {
      EXPECT_EQ(std::async(std::launch::async, text, "THIRD", "a").get(), u"third");
      MessageCatalog::reload();  // What is being read now is not kept.
    }
    return file;
  });
  EXPECT_EQ(text("OTHER", "a"), u"old");
  own.write("en", "OTHER", R"({"a": "new"})");
  EXPECT_EQ(text("ONCE", "a") + text("OTHER", "a"), u"secondnew");
}

TEST(MessageCatalog, PassesOverADirectoryOutOfReachForAWhileAndSaysSoOnce) {
  const catalogs own;
  own.write("en", "NEAR", R"({"a": "near"})");
  own.add();
  MessageCatalog::add_directory(u"C:\\" + ustring(150, u'x') + u'\\' + ustring(150, u'y'));
  MessageCatalog::add_directory(u"\\\\far\\share");
  DWORD code = 0;
  std::uint64_t asked = 0, now = 0, long_paths = 0;
  injected<decltype(&GetTickCount64)> clock(library, "GetTickCount64");
  clock.handle_with([&](auto) { return now; });
  const auto answer = [&](auto original, LPCWSTR path, auto... rest) {
    long_paths += std::wstring_view(path).starts_with(L"\\\\?\\");
    if (!std::wstring_view(path).starts_with(L"\\\\far")) {
      return original(path, rest...);
    }
    ++asked;
    SetLastError(code);
    return INVALID_HANDLE_VALUE;
  };
  injected<decltype(&CreateFileW)> opened(library, "CreateFileW");
  injected<decltype(&CreateFileW)> log_opened("libqxfoundation_log.dll", "CreateFileW");
  opened.handle_with(answer);
  log_opened.handle_with(answer);
  for (const DWORD each : {ERROR_BAD_NETPATH, ERROR_BAD_NET_NAME, ERROR_NOT_READY, ERROR_INVALID_NAME}) {
    code = each;
    MessageCatalog::reload();
    const std::uint64_t before = asked;
    EXPECT_EQ(text("NEAR", "a"), u"near");
    EXPECT_THROW(text("NO:such", "a"), fl::i18n::missing_message);
    EXPECT_EQ(asked, before + 1) << code;
    now += 3'600'000;
    EXPECT_THROW(text("NO:such", "a"), fl::i18n::missing_message);
    EXPECT_EQ(asked, before + 2) << code;
  }
  EXPECT_EQ(long_paths, 9u) << "eight catalogs and the log";
  const std::string log = test_support::read_file("\\\\?\\" + long_log);
  EXPECT_THAT(log, HasSubstr("[fl::i18n::messages] complaint: Passing over the catalogs in \\\\far\\share for now: "
                             "CreateFileW: "));
  EXPECT_EQ(std::count(log.begin(), log.end(), '\n'), 1) << log;
}

}  // namespace

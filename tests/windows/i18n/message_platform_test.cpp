// Message catalogs in real files, and what the system says of those that it does not give.
#include <i18n/message_catalog.hpp>

#include "import_patch.hpp"
#include "support.hpp"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <windows.h>

#include <algorithm>
#include <filesystem>
#include <string>
#include <string_view>

namespace {

using fl::ustring;
using fl::i18n::MessageCatalog;
using namespace std::string_view_literals;
using namespace testing;
using test_support::injected;

constexpr const char* library = "libqxi18n.dll";

// Before the first use of the library.
const test_support::temp_dir folder("gr\xC3\xB6\xC3\x9F\x65-\xE6\x96\x87");
const test_support::scoped_variable variable("QX_MESSAGE_PATH",
                                             folder.file(std::string(200, 'x')) + ';' + folder.path());
const std::string long_log = folder.file(std::string(230, 'x'));
const test_support::scoped_variable log_file("QX_LOG_FILE", long_log), log_level("QX_LOG", "*=all");

void write(const std::string& json) {
  std::filesystem::create_directory(test_support::widen(folder.file("de")));
  test_support::write_file(folder.file("de\\CATALOG.json"), json);
  MessageCatalog::reload();
}

ustring text() {
  return MessageCatalog::get_message({"CATALOG", "a"});
}

TEST(MessagePlatform, TakesTheDirectoriesAndTheLanguageOfTheUser) {
  write(R"({"a": "da"})");
  injected<decltype(&GetUserPreferredUILanguages)> languages(library, "GetUserPreferredUILanguages");
  languages.handle_with([](auto, DWORD, PULONG, PZZWSTR names, PULONG size) {
    constexpr std::wstring_view list = L"de-AT\0en-US\0"sv;
    *size = static_cast<ULONG>(list.copy(names != nullptr ? names : std::wstring(99, 0).data(), 99)) + 1;
    return TRUE;
  });
  MessageCatalog::set_language("");
  EXPECT_EQ(MessageCatalog::language(), "de-AT");
  EXPECT_EQ(text(), u"da");
}

TEST(MessagePlatform, SaysWhyAFileCannotBeReadAndGivesAnyContent) {
  MessageCatalog::set_language("de");
  injected<decltype(&CreateFileW)> opened(library, "CreateFileW");
  const auto says = [](const std::string& reason) {
    MessageCatalog::reload();
    EXPECT_THAT([] { text(); },
                ThrowsMessage<fl::i18n::bad_catalog>(HasSubstr("CATALOG.json cannot be used: " + reason)));
  };
  opened.fail_always(INVALID_HANDLE_VALUE, ERROR_ACCESS_DENIED);
  says("CreateFileW: ");
  opened.reset();
  opened.handle_with([](auto original, LPCWSTR, auto... rest) { return original(L"NUL", rest...); });
  says("it is not a file on a disk");
  opened.reset();
  write("{\"b\": \"" + std::string(70'000, 'x') + "\", \"a\": \"behind the first part\"}");
  EXPECT_EQ(text(), u"behind the first part");
}

TEST(MessagePlatform, TellsADirectoryOutOfReachFromAMissingFileAndLogsIt) {
  MessageCatalog::set_language("de");
  write(R"({"a": "near"})");
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
    EXPECT_EQ(text(), u"near") << code;
    now += 3'600'000;
    EXPECT_THROW(MessageCatalog::get_message({"NO:such", "a"}), fl::i18n::missing_message);
  }
  EXPECT_EQ(asked, 8u);
  EXPECT_GT(long_paths, 8u) << "eight catalogs at least, and the log";
  const std::string log = test_support::read_file("\\\\?\\" + long_log);
  EXPECT_THAT(log, HasSubstr("[fl::i18n::messages] complaint: Passing over the catalogs in \\\\far\\share for now: "
                             "CreateFileW: "));
  EXPECT_EQ(std::count(log.begin(), log.end(), '\n'), 1) << log;
}

}  // namespace

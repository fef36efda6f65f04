// Message catalogs in real files, and what is made of the system's refusals.
#include <i18n/message_catalog.hpp>

#include "every_test.hpp"
#include "import_patch.hpp"
#include "support.hpp"

#include <windows.h>

#include <filesystem>

namespace {

using fl::i18n::MessageCatalog;
using namespace testing;
using test_support::injected;

constexpr const char* library = "libqxi18n.dll";

// Before the first use of the library.
const test_support::temp_dir folder("gr\xC3\xB6\xC3\x9F\x65-\xE6\x96\x87");
const std::string deep = folder.file(std::string(120, 'y') + "\\" + std::string(120, 'z'));  // beyond 260 characters
const test_support::scoped_variable variable("QX_MESSAGE_PATH", "\\\\far\\share;" + deep);
const test_support::scoped_variable log_file("QX_LOG_FILE", deep + ".log"), log_level("QX_LOG", "*=all");

fl::ustring text_of(const std::string& json) {
  test_support::write_file("\\\\?\\" + deep + "\\de\\CATALOG.json", json);
  MessageCatalog::reload();
  return MessageCatalog::get_message({"CATALOG", "a"});
}

TEST(MessagePlatform, FindsTheFilesOfTheUsersLanguageAndSaysWhyOneCannotBeRead) {
  std::filesystem::create_directories(test_support::widen("\\\\?\\" + deep + "\\de"));
  injected<decltype(&GetUserPreferredUILanguages)> languages(library, "GetUserPreferredUILanguages");
  languages.handle_with([](auto, DWORD, PULONG, PZZWSTR names, PULONG size) {
    constexpr std::wstring_view list(L"de-AT\0en-US\0", 12);
    *size = static_cast<ULONG>(list.copy(names != nullptr ? names : std::wstring(99, 0).data(), 99)) + 1;
    return TRUE;
  });
  MessageCatalog::set_language("");
  EXPECT_EQ(MessageCatalog::language(), "de-AT");
  injected<decltype(&CreateFileW)> opened(library, "CreateFileW");
  for (const DWORD code :
       std::initializer_list<DWORD>{ERROR_BAD_NETPATH, ERROR_BAD_NET_NAME, ERROR_NOT_READY, ERROR_INVALID_NAME}) {
    opened.handle_with([code](auto original, LPCWSTR path, auto... rest) {
      const bool is_far = std::wstring_view(path).starts_with(L"\\\\far");
      return is_far ? (SetLastError(code), INVALID_HANDLE_VALUE) : original(path, rest...);
    });
    EXPECT_EQ(text_of("{\"b\": \"" + std::string(70'000, 'x') + "\", \"a\": \"behind the first part\"}"),
              u"behind the first part")
        << code;
  }
  const std::string log = test_support::read_file("\\\\?\\" + deep + ".log");
  EXPECT_THAT(log, HasSubstr("[fl::i18n::messages] complaint: Passing over the catalogs in \\\\far\\share for now: "
                             "CreateFileW: "));
  EXPECT_EQ(log.find('\n'), log.size() - 1) << "said once";
  const auto says = [](const std::string& reason) {
    EXPECT_THAT([] { text_of("{}"); }, ThrowsMessage<fl::i18n::bad_catalog>(HasSubstr("cannot be used: " + reason)));
  };
  opened.reset();
  opened.fail_always(INVALID_HANDLE_VALUE, ERROR_ACCESS_DENIED);
  says("CreateFileW: ");
  opened.reset();
  opened.handle_with([](auto original, LPCWSTR, auto... rest) { return original(L"NUL", rest...); });
  says("it is not a file on a disk");
  opened.reset();
  const std::string huge = "\\\\?\\" + deep + "\\de\\HUGE.json";
  test_support::write_file(huge, "{");
  std::filesystem::resize_file(test_support::widen(huge), std::uintmax_t{2} << 30);
  injected<decltype(&ReadFile)> reads(library, "ReadFile");
  EXPECT_THAT([] { MessageCatalog::get_message({"HUGE", "a"}); },
              ThrowsMessage<fl::i18n::bad_catalog>(HasSubstr("cannot be used: it is larger than 64 MiB")));
  EXPECT_LE(reads.calls(), 1100u) << "of 64 KiB each: memory is for what may be a catalog";
}

}  // namespace

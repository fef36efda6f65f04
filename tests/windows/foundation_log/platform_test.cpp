// What the log tells the system.

#include <foundation_log/logger.hpp>

#include "every_test.hpp"
#include "import_patch.hpp"
#include "support.hpp"

#include <windows.h>

using test_support::injected;

// A console has room for 64 KB of a text on its way, or less, and refuses what is longer: injected, as is the console.
TEST(LogConsole, GetsALongRecordInPiecesWithoutCuttingACharacter) {
  std::wstring shown;
  const injected<decltype(&GetConsoleMode)> console("libqxfoundation_log.dll", "GetConsoleMode",
                                                    [](auto...) { return TRUE; });
  const injected<decltype(&WriteConsoleW)> writing(
      "libqxfoundation_log.dll", "WriteConsoleW",
      [&](auto, HANDLE, const void* text, DWORD units, DWORD* written, void*) {
        const std::wstring_view piece(static_cast<const wchar_t*>(text), units);
        EXPECT_FALSE(IS_HIGH_SURROGATE(piece.back()));
        if (units * sizeof(wchar_t) >= 65536) {
          SetLastError(ERROR_NOT_ENOUGH_MEMORY);
          return FALSE;
        }
        *written = std::min(units, DWORD{10000});
        shown += piece.substr(0, *written);
        return TRUE;
      });
  std::string text = "x";  // so that no piece of an even length ends between two characters
  for (int face = 0; face != 30000; ++face) {
    text += "\U0001f600";
  }
  foundation::log::basic_diagnostic_logger<char> logger("console");
  logger.level(foundation::log::severity::note);
  logger.log(foundation::log::severity::note, text);
  EXPECT_TRUE(shown.ends_with(test_support::widen(text + "\n"))) << shown.size();
}

#include "every_test.hpp"

#include <kit/exit_code_text.hpp>

namespace {

using namespace foundation::kit;

TEST(ExitCodeText, SaysInWordsWhatIsKnownAndElseGoesByTheNumber) {
  const std::pair<std::uint32_t, std::string> cases[] = {
      {0, "success"},
      {1, "exit status 1"},
      {259, "exit status 259, which looks like a child that still runs"},
      {0x20474343, "uncaught C++ exception (0x20474343)"},
      {0x7FFFFFFF, "exit status 2147483647"},
      {0x80000003, "breakpoint (0x80000003)"},
      {0x80070005, "failure or warning 0x80070005"},
      {0xC0000005, "access violation (0xC0000005)"},
      {0xC0000135, "a DLL was not found (0xC0000135)"},
      {0xC000013A, "interrupted by Ctrl-C (0xC000013A)"},
      {0xC0001234, "system error 0xC0001234"},
      {0xE06D7363, "uncaught C++ exception (0xE06D7363)"},
      {0xE06D7364, "program-defined exception 0xE06D7364"},
      {0xA0000001, "program-defined exception 0xA0000001"},
      {0xFFFEFFFF, "program-defined exception 0xFFFEFFFF"},
      {0xFFFF0000, "exit status -65536"},
      {0xFFFFFFFF, "exit status -1"},
  };
  for (const auto& [code, text] : cases) {
    EXPECT_EQ(exit_code_text(code), text);
    EXPECT_EQ(exit_code_text(process::exit_status_variant(process::exited{code, code})), text);
  }
  EXPECT_EQ(exit_code_text(process::exit_status_variant(process::unknown{})), "still running, or exit status 259");
  EXPECT_EQ(exit_code_text(process::exit_status_variant(process::signaled{9, 9})), "ended by signal 9");
}

}  // namespace

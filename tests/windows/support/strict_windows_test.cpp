// The mode of the tests that has Windows' word count where Wine lets more pass.

#include <fl/sysdep/windows/process_impl.hpp>

#include "children.hpp"
#include "every_test.hpp"
#include "support.hpp"

#include <cstdio>

namespace process = foundation::core::process;
using foundation::core::sysdep::windows::process_impl;

// The death test is this program once more, in that mode.
TEST(StrictWindows, TellsOfAForbiddenCallAndOnlyRefusesWhatAUserMayAskFor) {
  const test_support::scoped_variable strict("QXFL_STRICT_WINDOWS", "1");
  const auto ask = [] {
    const process::iopipe_handles nothing(nullptr, reinterpret_cast<HANDLE>(0x7ffc));
    process::iopipe_device(nothing, false, process::open_mode::binary).close_for_write();
    const auto ended = process_impl::launch(children::command("exit", {"0"}), {});
    ended->wait(true);
    try {
      ended->kill();
    } catch (const std::exception& e) {
      std::fprintf(stderr, "%s\n", e.what());
    }
    std::_Exit(testing::Test::HasFailure() ? 5 : 6);
  };
  const char* const told = "strict windows: CloseHandle: a handle that is not open\nTerminateProcess: ";
  EXPECT_EXIT(ask(), testing::ExitedWithCode(5), testing::StartsWith(told));
}

// The main function of the test programs on Windows, which are guarded as guarded_program.hpp says. QXFL_TEST_TIMEOUT
// is the longest time of one test in seconds (90 unless set); 0 lets tests run for ever, for debugging.
#include "every_test.hpp"
#include "guarded_program.hpp"
#include "strict_windows.hpp"

#include <cstdio>

namespace {

/// Fixtures and exit handlers can hang too. The stacks and the last line of GoogleTest's own name the test.
class progress_listener : public testing::EmptyTestEventListener {
  void OnTestStart(const testing::TestInfo&) override { test_support::tell_progress(); }
  void OnTestEnd(const testing::TestInfo&) override { test_support::tell_progress(); }
  void OnTestProgramEnd(const testing::UnitTest&) override { test_support::tell_progress(); }
};

}  // namespace

int main(int count, char** arguments) {
  // Nothing may be waiting in a buffer when the process is ended the hard way.
  std::setvbuf(stdout, nullptr, _IONBF, 0);
  std::setvbuf(stderr, nullptr, _IONBF, 0);
  test_support::install_fault_reports();
  test_support::begin_strict_windows();
  test_support::retry_refused_launches();
  testing::InitGoogleTest(&count, arguments);
  const char* const limit = std::getenv("QXFL_TEST_TIMEOUT");
  if (const int limit_s = limit != nullptr ? std::atoi(limit) : 90) {
    testing::UnitTest::GetInstance()->listeners().Append(new progress_listener);
    test_support::begin_watch(limit_s);
  }
  return RUN_ALL_TESTS();
}

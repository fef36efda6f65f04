// The main function of the test programs on Windows: a crash prints its stack, and a test that hangs is ended with the
// stacks of all threads. QXFL_TEST_TIMEOUT is the longest time of one test in seconds (90 unless set); 0 lets tests run
// for ever, for debugging.
#include <gtest/gtest.h>

#include <cstdio>
#include <cstdlib>
#include <string>

#include "fault_report.hpp"
#include "refused_launches.hpp"
#include "watchdog.hpp"

namespace {

// Tells the watchdog what runs. Between tests and at the end time runs as well: fixtures and exit handlers can hang
// too.
class progress_listener : public testing::EmptyTestEventListener {
 public:
  explicit progress_listener(test_support::watchdog& told) : told_(told) {}

  void OnTestStart(const testing::TestInfo& test) override { told_.watch(name(test)); }
  void OnTestEnd(const testing::TestInfo& test) override { told_.watch("what follows " + name(test)); }
  void OnTestProgramEnd(const testing::UnitTest&) override { told_.watch("the end of the program"); }

 private:
  static std::string name(const testing::TestInfo& test) {
    return std::string(test.test_suite_name()) + "." + test.name();
  }

  test_support::watchdog& told_;
};

unsigned time_limit_s() {
  constexpr unsigned usual = 90;
  const char* const given = std::getenv("QXFL_TEST_TIMEOUT");
  return given != nullptr && *given != '\0' ? static_cast<unsigned>(std::strtoul(given, nullptr, 10)) : usual;
}

}  // namespace

int main(int count, char** arguments) {
  // Nothing may be waiting in a buffer when the process is ended the hard way.
  std::setvbuf(stdout, nullptr, _IONBF, 0);
  std::setvbuf(stderr, nullptr, _IONBF, 0);
  test_support::disable_error_dialogs();
  test_support::install_fault_reports();
  test_support::retry_launches_that_wine_refuses();
  testing::InitGoogleTest(&count, arguments);
  if (const unsigned limit_s = time_limit_s())
    testing::UnitTest::GetInstance()->listeners().Append(new progress_listener(test_support::watchdog::start(limit_s)));
  return RUN_ALL_TESTS();
}

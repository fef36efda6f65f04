// The main function of the test programs on Windows: a crash prints its stack, and a test that hangs is ended with the
// stacks of all threads. QXFL_TEST_TIMEOUT is the longest time of one test in seconds (90 unless set); 0 lets tests run
// for ever, for debugging.
#include "fault_report.hpp"
#include "refused_launches.hpp"
#include "watchdog.hpp"

#include <gtest/gtest.h>

#include <cstdio>
#include <cstdlib>

int main(int count, char** arguments) {
  // Nothing may be waiting in a buffer when the process is ended the hard way.
  std::setvbuf(stdout, nullptr, _IONBF, 0);
  std::setvbuf(stderr, nullptr, _IONBF, 0);
  test_support::install_fault_reports();
  test_support::retry_launches_that_wine_refuses();
  testing::InitGoogleTest(&count, arguments);
  const char* const limit = std::getenv("QXFL_TEST_TIMEOUT");
  if (const int limit_s = limit != nullptr ? std::atoi(limit) : 90) {
    test_support::start_watchdog(static_cast<unsigned>(limit_s));
  }
  return RUN_ALL_TESTS();
}

#include "watchdog.hpp"

#include "stack_dump.hpp"

#include <gtest/gtest.h>

#include <windows.h>

#include <atomic>
#include <thread>

namespace test_support {
namespace {

// An event, set when something begins.
const HANDLE progress = ::CreateEventW(nullptr, FALSE, FALSE, nullptr);
// The test that runs or ran last. Null before the first.
std::atomic<const testing::TestInfo*> latest{nullptr};

class progress_listener : public testing::EmptyTestEventListener {
  void OnTestStart(const testing::TestInfo& test) override {
    latest = &test;
    ::SetEvent(progress);
  }
  void OnTestEnd(const testing::TestInfo&) override { ::SetEvent(progress); }
  void OnTestProgramEnd(const testing::UnitTest&) override { ::SetEvent(progress); }
};

void watch(unsigned limit_s) {
  while (::WaitForSingleObject(progress, limit_s * 1000) == WAIT_OBJECT_0) {
  }
  begin_report(hang_exit_code);
  const testing::TestInfo* const test = latest;
  report("\nhang: %s.%s, or what follows it, ran longer than %u s\n", test ? test->test_suite_name() : "",
         test ? test->name() : "(start)", limit_s);
  dump_other_threads();
  ::TerminateProcess(::GetCurrentProcess(), hang_exit_code);
}

}  // namespace

void start_watchdog(unsigned limit_s) {
  testing::UnitTest::GetInstance()->listeners().Append(new progress_listener);
  std::thread(watch, limit_s).detach();
}

}  // namespace test_support

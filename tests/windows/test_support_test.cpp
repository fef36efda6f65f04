// What the other tests take on trust: the reports of the test main, and fault injection.
#include <gtest/gtest.h>
#include <windows.h>

#include <string>
#include <tuple>
#include <vector>

#include "fault_report.hpp"
#include "import_patch.hpp"
#include "run_child.hpp"
#include "support.hpp"
#include "watchdog.hpp"

namespace {

using namespace test_support;

void expect_parts(const std::string& text, const std::vector<std::string>& parts) {
  for (const std::string& part : parts)
    EXPECT_NE(text.find(part), std::string::npos) << part << " is missing in:\n" << text;
}

TEST(TestMain, NamesTheFunctionAtFaultAndEndsWithAFailure) {
  const struct {
    const char* test;
    unsigned exit_code;
    std::vector<std::string> named;
  } cases[] = {
      {"WritesThroughNull", crash_exit_code, {"0xc0000005", "child_faults::write_through_null", "child_faults.cpp"}},
      {"CallsThroughNull", crash_exit_code, {"0xc0000005", "child_faults::call_through_null"}},
      {"CrashesInAnotherThread", crash_exit_code, {"0xc0000005", "child_faults::write_through_null"}},
      {"OverflowsTheStack", crash_exit_code, {"0xc00000fd", "child_faults::overflow_the_stack"}},
      {"Terminates", abort_exit_code, {"thrown on purpose", "child_faults::throw_where_nobody_catches"}},
      {"Aborts", abort_exit_code, {"abort was called", "child_faults::give_up"}},
  };
  for (const auto& each : cases) {
    SCOPED_TRACE(each.test);
    const child_result result = run_child("child_faults", std::string("--gtest_filter=ChildFaults.") + each.test);
    EXPECT_EQ(result.exit_code, each.exit_code);
    expect_parts(result.out, {std::string("[ RUN      ] ChildFaults.") + each.test});  // Not lost in a buffer.
    EXPECT_EQ(result.out.find("[       OK ]"), std::string::npos) << result.out;
    expect_parts(result.err, each.named);
  }
}

TEST(TestMain, EndsAHangingTestWithTheStacksOfAllItsThreads) {
  const scoped_variable limit("QXFL_TEST_TIMEOUT", "1");
  const child_result result = run_child("child_faults", "--gtest_filter=ChildFaults.Hangs");
  EXPECT_EQ(result.exit_code, hang_exit_code);
  expect_parts(result.err, {"hang: ChildFaults.Hangs ran longer than 1 s", "child_faults::wait_for_ever",
                            "child_faults::spin_for_ever", "ChildFaults_Hangs_Test"});
}

struct event {
  HANDLE handle = ::CreateEventW(nullptr, TRUE, FALSE, nullptr);
  ~event() { ::CloseHandle(handle); }
};

TEST(Injected, FailsTheChosenCallsHandsOthersToTheHandlerAndRestoresTheImport) {
  const event some;
  decltype(&::SetEvent) real = nullptr;
  {
    injected<decltype(&::SetEvent)> set(nullptr, "SetEvent");
    real = set.original();
    injected<decltype(&::ResetEvent)> reset(nullptr, "ResetEvent");  // Of one type: neither takes the other's calls.
    set.fail_at(2, FALSE, ERROR_GEN_FAILURE);
    set.fail_from(4, FALSE, ERROR_ACCESS_DENIED);
    set.start_recording();
    int handled = 0;
    set.handle_with([&handled](auto original, HANDLE handle) { return ++handled, original(handle); });
    for (const DWORD error : {ERROR_SUCCESS, ERROR_GEN_FAILURE, ERROR_SUCCESS, ERROR_ACCESS_DENIED}) {
      ::SetLastError(ERROR_SUCCESS);
      EXPECT_EQ(::SetEvent(some.handle) != FALSE, error == ERROR_SUCCESS);
      EXPECT_EQ(::GetLastError(), error);
    }
    EXPECT_EQ(::WaitForSingleObject(some.handle, 0), WAIT_OBJECT_0);
    EXPECT_EQ(handled, 2);
    EXPECT_EQ(set.recorded(), (std::vector<std::tuple<HANDLE>>(4, some.handle)));
    EXPECT_TRUE(::ResetEvent(some.handle));
    EXPECT_EQ(reset.calls(), 1u);
  }
  EXPECT_EQ(injected<decltype(&::SetEvent)>(nullptr, "SetEvent").original(), real);
}

}  // namespace

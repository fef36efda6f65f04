// The system's side of a child: its status, its handles, its end, and what the system's refusals become. What the
// states of a process object allow is logic.

#include <fl/process/testing.hpp>
#include <fl/sysdep/windows/process_impl.hpp>

#include "children.hpp"
#include "import_patch.hpp"
#include "thrown_text.hpp"

#include <gtest/gtest.h>

#include <cstdint>
#include <stdexcept>
#include <string>

namespace process = foundation::core::process;
using children::exiting_child;
using children::let_it_end;
using foundation::core::sysdep::windows::process_impl;
using process::detail::exited;
using process::detail::unknown;
using test_support::injected;
using test_support::text_thrown_by;

namespace {

constexpr const char* library = "libqxfl.dll";
constexpr unsigned still_active = 259;

}  // namespace

TEST(ExitStatus, IsTheSameByPollWaitFutureAndDetail) {
  for (const std::uint32_t code : {0u, 1u, 88u, 0x80000000u, 0xC0000005u, 0xFFFFFFFFu}) {
    SCOPED_TRACE(code);
    process::process polled = exiting_child(code);
    let_it_end(polled);
    EXPECT_TRUE(polled.exited());
    EXPECT_EQ(polled.exit_status(), code);

    EXPECT_EQ(exiting_child(code).exit_status(), code);
    EXPECT_EQ(exiting_child(code).exit_status_async().get(), process::exit_status_variant(exited{code, code}));
    EXPECT_EQ(exiting_child(code).detailed_exit_status(), process::exit_status_variant(exited{code, code}));
  }
  process::process looks_running = exiting_child(still_active);
  let_it_end(looks_running);
  EXPECT_FALSE(looks_running.exited());
  EXPECT_EQ(looks_running.detailed_exit_status(), process::exit_status_variant(unknown{}));
  EXPECT_EQ(exiting_child(still_active).exit_status_async().get(), process::exit_status_variant(unknown{}));
}

TEST(ExitStatus, OfARunningChildIsUnknownToAPollAndLeavesItReleasable) {
  children::waiting_child waiting;
  process::process& child = waiting.object();
  void* const handle = child.native_handle();
  EXPECT_EQ(process_impl::wait(handle, false), process::exit_status_variant(unknown{}));
  EXPECT_FALSE(child.exited());
  void* const released = child.release();
  EXPECT_NE(released, handle);
  waiting.finish();
  EXPECT_EQ(process_impl::wait(released, true), process::exit_status_variant(exited{0, 0}));
  CloseHandle(released);
  CloseHandle(handle);
}

TEST(ExitStatus, OfAKilledChildIsOne) {
  children::waiting_child first;
  first.object().kill();
  EXPECT_EQ(first.object().exit_status(), 1u);
  children::waiting_child second;
  second.object().terminate();
  EXPECT_EQ(second.object().exit_status(), 1u);
}

TEST(Process, HasAnIdHandlesAndAWorkingSet) {
  children::waiting_child waiting;
  process::process& child = waiting.object();
  void* const first = child.native_handle();
  void* const second = child.native_handle();
  EXPECT_NE(first, second);
  EXPECT_EQ(child.id(), static_cast<long long>(GetProcessId(first)));
  EXPECT_GT(child.working_set_size(), 0u);
  CloseHandle(first);
  CloseHandle(second);
}

// The callback that would bring the status is never registered. Wine does not refuse to end what has ended.
TEST(Process, KillFindsThatTheChildHasEndedThoughItsStatusIsStillOnTheWay) {
  process::process child = exiting_child(0);
  injected<decltype(&RegisterWaitForSingleObject)> registration(library, "RegisterWaitForSingleObject");
  registration.fail_always(TRUE, ERROR_SUCCESS);
  child.exit_status_async();
  let_it_end(child);
  injected<decltype(&TerminateProcess)> terminate(library, "TerminateProcess");
  terminate.fail_always(FALSE, ERROR_ACCESS_DENIED);
  EXPECT_THROW(child.kill(), process::process_kill_error);
  process::testing::set_implementation_qos(process::implementation_qos{1});  // forgets the child
}

TEST(Process, KeepsImpossibleAnswersOfAWaitApart) {
  const struct {
    DWORD answer;
    bool block;
    const char* text;
  } rows[] = {
      {WAIT_ABANDONED, false, "WaitForSingleObject returned an unexpected value: WAIT_ABANDONED"},
      {WAIT_ABANDONED, true, "WaitForSingleObject returned an unexpected value: WAIT_ABANDONED"},
      {WAIT_TIMEOUT, true, "WaitForSingleObject returned an unexpected value: WAIT_TIMEOUT"},
      {7, false, "WaitForSingleObject returned an unrecognized value"},
  };
  for (const auto& row : rows) {
    injected<decltype(&WaitForSingleObject)> wait(library, "WaitForSingleObject");
    wait.fail_always(row.answer, 0);
    EXPECT_EQ(text_thrown_by<std::runtime_error>([&] { process_impl::wait(GetCurrentProcess(), row.block); }),
              row.text);
  }
}

TEST(Process, ReportsRefusedSystemCallsByName) {
  children::waiting_child waiting;
  process::process& child = waiting.object();
  const auto expect_refusal = [](const char* name, auto operation) {
    const std::string text = text_thrown_by<boost::system::system_error>(operation);
    EXPECT_EQ(text.rfind(std::string(name) + ": ", 0), 0u) << text;
  };
  {
    injected<decltype(&TerminateProcess)> terminate(library, "TerminateProcess");
    terminate.fail_always(FALSE, ERROR_ACCESS_DENIED);
    expect_refusal("TerminateProcess", [&] { child.kill(); });
  }
  {
    injected<decltype(&GetExitCodeProcess)> code(library, "GetExitCodeProcess");
    code.fail_always(FALSE, ERROR_ACCESS_DENIED);
    expect_refusal("GetExitCodeProcess", [&] { process_impl::wait(GetCurrentProcess(), false); });
  }
  {
    injected<decltype(&WaitForSingleObject)> wait(library, "WaitForSingleObject");
    wait.fail_always(WAIT_FAILED, ERROR_INVALID_HANDLE);
    expect_refusal("WaitForSingleObject", [&] { process_impl::wait(GetCurrentProcess(), false); });
  }
  {
    injected<decltype(&RegisterWaitForSingleObject)> registration(library, "RegisterWaitForSingleObject");
    registration.fail_always(FALSE, ERROR_NOT_ENOUGH_MEMORY);
    expect_refusal("RegisterWaitForSingleObject", [&] { child.detach(); });
  }
  injected<decltype(&DuplicateHandle)> duplicate(library, "DuplicateHandle");
  duplicate.fail_always(FALSE, ERROR_NOT_ENOUGH_MEMORY);
  expect_refusal("Failed to duplicate process handle", [&] { child.native_handle(); });
}

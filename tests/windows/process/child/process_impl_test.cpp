// The system's side of a child: its status, its handles, its end, and what the system's refusals become. What the
// states of a process object allow is logic.

#include <fl/process/testing.hpp>
#include <fl/process/this_process.hpp>
#include <fl/sysdep/windows/process_impl.hpp>

#include "children.hpp"
#include "every_test.hpp"
#include "import_patch.hpp"
#include "refusals.hpp"

namespace process = foundation::core::process;
using children::exiting_child;
using children::let_it_end;
using foundation::core::sysdep::windows::process_impl;
using process::detail::exited;
using process::detail::unknown;
using test_support::injected;

TEST(ExitStatus, IsTheSameByPollWaitFutureAndDetail) {
  constexpr std::uint32_t code = 0xC0000005;
  process::process polled = exiting_child(code);
  let_it_end(polled);
  EXPECT_TRUE(polled.exited());
  EXPECT_EQ(polled.exit_status(), code);
  EXPECT_EQ(exiting_child(code).exit_status_async().get(), process::exit_status_variant(exited{code, code}));
  EXPECT_EQ(exiting_child(code).detailed_exit_status(), process::exit_status_variant(exited{code, code}));
  constexpr unsigned still_active = 259;
  EXPECT_EQ(exiting_child(still_active).exit_status_async().get(), process::exit_status_variant(unknown{}));
}

TEST(Process, IsKnownByItsIdAndHandlesWhileItRunsAndCanBeReleasedOrKilled) {
  children::common_event end;
  process::process child(end.waiting()), killed(end.waiting());
  killed.kill();
  EXPECT_EQ(killed.exit_status(), 1u);
  void* const handle = child.native_handle();
  EXPECT_EQ(child.id(), static_cast<long long>(GetProcessId(handle)));
  EXPECT_GT(child.working_set_size(), 0u);
  EXPECT_EQ(process_impl::wait(handle, false), process::exit_status_variant(unknown{}));
  EXPECT_FALSE(child.exited());
  void* const released = child.release();
  EXPECT_NE(released, handle);
  end.set();
  EXPECT_EQ(process_impl::wait(released, true), process::exit_status_variant(exited{0, 0}));
  CloseHandle(released);
  CloseHandle(handle);
}

// The callback that would bring the status is never registered. Wine does not refuse to end what has ended.
TEST(Process, KillFindsThatTheChildHasEndedThoughItsStatusIsStillOnTheWay) {
  process::process child = exiting_child(0);
  injected<decltype(&RegisterWaitForSingleObject)> registration("RegisterWaitForSingleObject");
  registration.fail_always(TRUE, ERROR_SUCCESS);
  child.exit_status_async();
  let_it_end(child);
  injected<decltype(&TerminateProcess)> terminate("TerminateProcess");
  terminate.fail_always(FALSE, ERROR_ACCESS_DENIED);
  EXPECT_THROW(child.kill(), process::process_kill_error);
  process::testing::set_implementation_qos(process::implementation_qos{1});  // forgets the child
}

// A refused look at the status is kept in place of it.
TEST(Process, TellsWhichCallTheSystemRefused) {
  const children::stand_ins no_processes(false);
  const injected<decltype(&TerminateProcess)> terminate("TerminateProcess", [](auto...) { return TRUE; });
  const process::command any("C:\\a.exe");
  const auto end_and_delete = [](process::process* child) {
    try {
      children::end_stand_in(*child);
    } catch (const std::logic_error&) {  // It is detached.
    }
    delete child;
  };
  const auto with_a_new_reaper = [](auto& child, auto wait) {
    static std::uint32_t service = 1000;
    process::testing::set_implementation_qos(process::implementation_qos{++service});
    (child.*wait)();
  };
  const std::string
      refused = "system_error: !",
      ended = "process_kill_error: An error occurred while trying to kill child process: process already exited";
  const struct {
    const char* name;
    std::function<void(process::process&)> operate;
    test_support::refusal_outcomes outcomes;
  } rows[] = {
      {"exited", [](auto& child) { child.exited(); }, {}},
      {"status",
       [&](auto& child) { with_a_new_reaper(child, &process::process::exit_status_async); },
       {{"DuplicateHandle", "system_error: Failed to duplicate process handle!"},
        {"RegisterWaitForSingleObject", "system_error: RegisterWaitForSingleObject!"},
        {"new", "bad_alloc: std::bad_alloc"}}},
      {"detach",
       [&](auto& child) {
         children::end_stand_in(child);
         with_a_new_reaper(child, &process::process::detach);
       },
       {{"DuplicateHandle", "2 x system_error: Failed to duplicate process handle!"},
        {"RegisterWaitForSingleObject", "system_error: RegisterWaitForSingleObject!"},
        {"new", "bad_alloc: std::bad_alloc"}}},
      {"kill",
       [](auto& child) { child.kill(); },
       {{"GetExitCodeProcess", ended},
        {"TerminateProcess", "system_error: TerminateProcess!"},
        {"WaitForSingleObject", ended}}},
      {"working set",
       [](auto& child) { child.working_set_size(); },
       {{"GetExitCodeProcess", ended},
        {"K32GetProcessMemoryInfo", refused},
        {"OpenProcess", refused},
        {"WaitForSingleObject", ended}}},
      {"own path",
       [](auto&) { process::this_process::absolute_path(); },
       {{"GetModuleFileNameW", refused}, {"new", "bad_alloc: std::bad_alloc"}}},
  };
  for (const auto& [name, operate, outcomes] : rows) {
    SCOPED_TRACE(name);
    const auto prepare = [&, operate] {
      const std::shared_ptr<process::process> child(new process::process(any), end_and_delete);
      return [operate, child] {
        operate(*child);
        return "done";
      };
    };
    EXPECT_EQ(test_support::refuse_each_call(prepare), outcomes);
  }
}

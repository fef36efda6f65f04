// How the end of a child is told: by poll, by blocking wait, by future and in detail, and what the states of a process
// object allow.

#include <fl/process/testing.hpp>
#include <fl/sysdep/windows/process_impl.hpp>

#include "children.hpp"
#include "import_patch.hpp"

#include <gtest/gtest.h>

#include <chrono>
#include <cstdint>
#include <stdexcept>
#include <string>
#include <thread>
#include <utility>
#include <vector>

namespace process = foundation::core::process;
using children::exiting_child;
using children::let_it_end;
using foundation::core::sysdep::windows::process_impl;
using process::detail::exited;
using process::detail::unknown;
using test_support::injected;

namespace {

constexpr const char* library = "libqxfl.dll";
constexpr unsigned still_active = 259;

template <class Exception, class Operation>
std::string text_thrown_by(Operation operation) {
  try {
    operation();
  } catch (const Exception& e) {
    return e.what();
  }
  return "nothing was thrown";
}

}  // namespace

TEST(ExitStatus, IsToldAlikeByPollWaitFutureAndDetail) {
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
}

TEST(ExitStatus, OfACodeThatLooksLikeRunningStaysUnknown) {
  process::process child = exiting_child(still_active);
  let_it_end(child);
  EXPECT_FALSE(child.exited());
  EXPECT_EQ(text_thrown_by<std::logic_error>([&] { child.exit_status(); }),
            "tried to read native status for a process that is still running");
  EXPECT_TRUE(child.exited()) << "the wait has come back, and its answer stays";
  EXPECT_EQ(child.detailed_exit_status(), process::exit_status_variant(unknown{}));
  EXPECT_NO_THROW(child.join());
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

TEST(ExitStatus, ArrivesAtSeveralThreadsThatBlock) {
  children::waiting_child waiting;
  std::vector<std::thread> threads;
  std::atomic<int> told{0};
  for (int i = 0; i < 8; ++i) {
    threads.emplace_back([&, i] {
      const unsigned status = i % 2 == 0 ? waiting.object().exit_status()
                                         : std::get<exited>(waiting.object().exit_status_async().get()).exit_code;
      told += status == 0 ? 1 : 0;
    });
  }
  std::this_thread::sleep_for(std::chrono::milliseconds(50));
  EXPECT_EQ(told, 0);
  waiting.finish();
  for (std::thread& thread : threads) {
    thread.join();
  }
  EXPECT_EQ(told, 8);
}

TEST(Process, RefusesWhatItsStateDoesNotAllow) {
  process::process child = exiting_child(5);
  child.join();
  const std::string killed = "An error occurred while trying to kill child process: process already exited";
  EXPECT_EQ(text_thrown_by<process::process_kill_error>([&] { child.kill(); }), killed);
  EXPECT_EQ(text_thrown_by<process::process_kill_error>([&] { child.terminate(); }), killed);
  EXPECT_EQ(text_thrown_by<process::process_kill_error>([&] { child.working_set_size(); }), killed);
  EXPECT_EQ(text_thrown_by<std::logic_error>([&] { child.release(); }),
            "cannot release a process with an active future");

  child.detach();
  EXPECT_NO_THROW(child.detach());
  const std::string gone = "process has been detached";
  const std::vector<std::pair<const char*, std::function<void()>>> operations = {
      {"exit_status", [&] { child.exit_status(); }},
      {"detailed", [&] { child.detailed_exit_status(); }},
      {"async", [&] { child.exit_status_async(); }},
      {"exited", [&] { child.exited(); }},
      {"join", [&] { child.join(); }},
      {"id", [&] { child.id(); }},
      {"native_handle", [&] { child.native_handle(); }},
      {"release", [&] { child.release(); }},
      {"kill", [&] { child.kill(); }},
      {"working_set", [&] { child.working_set_size(); }}};
  for (const auto& [name, operation] : operations) {
    EXPECT_EQ(text_thrown_by<std::logic_error>(operation), gone) << name;
  }
}

TEST(Process, TellsIdHandleAndWorkingSet) {
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

TEST(Process, FutureFromBeforeTheDetachIsAskedByPollsAndStillDelivers) {
  children::waiting_child waiting;
  injected<decltype(&RegisterWaitForSingleObject)> registration(library, "RegisterWaitForSingleObject");
  injected<decltype(&WaitForSingleObject)> look(library, "WaitForSingleObject");
  const auto status = waiting.object().exit_status_async();
  EXPECT_FALSE(waiting.object().exited());
  EXPECT_EQ(look.calls(), 0u) << "the future knows";
  waiting.object().detach();
  EXPECT_EQ(registration.calls(), 1u) << "the child is waited for once";
  waiting.finish();
  EXPECT_EQ(std::get<exited>(status.get()).exit_code, 0u);
}

TEST(Process, ADetachLeavesABlockedWaitItsHandle) {
  children::waiting_child waiting;
  injected<decltype(&WaitForSingleObject)> wait(library, "WaitForSingleObject");
  wait.handle_with([&](auto original, auto... arguments) {
    waiting.object().detach();
    waiting.finish();
    return original(arguments...);
  });
  EXPECT_EQ(waiting.object().exit_status(), 0u);
}

// The callback that would bring the status is never registered. Wine does not refuse to end what has ended.
TEST(Process, KillTellsThatTheChildHasEndedThoughItsStatusIsStillOnTheWay) {
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

// The child must go on, which its own event shows, and nothing may wait for it: the test would hang.
TEST(Process, DestroyingMovingOntoAndDetachingLeaveTheChildRunning) {
  for (const char* how : {"destroy", "move", "detach"}) {
    SCOPED_TRACE(how);
    children::common_event end;
    void* handle = nullptr;
    {
      process::process child = end.make_waiting_child();
      handle = child.native_handle();
      if (how == std::string("move")) {
        child = exiting_child(0);
      }
      if (how == std::string("detach")) {
        child.detach();
      }
    }
    EXPECT_EQ(WaitForSingleObject(handle, 0), static_cast<DWORD>(WAIT_TIMEOUT)) << "it ended with its object";
    end.set();
    EXPECT_EQ(process_impl::wait(handle, true), process::exit_status_variant(exited{0, 0}));
    CloseHandle(handle);
    EXPECT_TRUE(process::testing::join_all_async_procs());
  }
}

TEST(Process, MovesItsChildAndItsStatus) {
  process::process source = exiting_child(3);
  source.join();
  process::process target(std::move(source));
  EXPECT_EQ(text_thrown_by<std::logic_error>([&] { source.exited(); }), "process has been detached");
  EXPECT_EQ(target.exit_status(), 3u);
}

TEST(Process, StartsFromAPairOfCommandAndContext) {
  const boost::tuples::tuple<const process::command, const process::context> what(
      children::command("child_exit", {"6"}), process::context());
  EXPECT_EQ(process::process(what).exit_status(), 6u);
}

// What the system never does on its own: the calls are made to fail through the library's import table.
TEST(Process, KeepsARefusedWaitAsItsStatus) {
  children::waiting_child waiting;
  injected<decltype(&WaitForSingleObject)> wait(library, "WaitForSingleObject");
  wait.fail_at(1, WAIT_FAILED, ERROR_INVALID_HANDLE);
  EXPECT_TRUE(waiting.object().exited());
  try {
    waiting.object().exit_status();
    FAIL() << "the refusal is gone";
  } catch (const boost::system::system_error& e) {
    EXPECT_EQ(e.code().value(), ERROR_INVALID_HANDLE);
    EXPECT_EQ(std::string(e.what()).rfind("WaitForSingleObject: ", 0), 0u) << e.what();
  }
}

TEST(Process, TellsImpossibleAnswersOfAWaitApart) {
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
  children::waiting_child waiting;
  injected<decltype(&WaitForSingleObject)> wait(library, "WaitForSingleObject");
  wait.fail_at(1, WAIT_ABANDONED, 0);
  EXPECT_THROW(waiting.object().exited(), std::runtime_error);
  EXPECT_FALSE(waiting.object().exited()) << "such an answer is not kept";
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
  injected<decltype(&DuplicateHandle)> duplicate(library, "DuplicateHandle");
  duplicate.fail_always(FALSE, ERROR_NOT_ENOUGH_MEMORY);
  expect_refusal("Failed to duplicate process handle", [&] { child.native_handle(); });
  expect_refusal("Failed to duplicate process handle", [&] { child.detach(); });
  EXPECT_NO_THROW(child.id()) << "a failed detach keeps the child";
  expect_refusal("Failed to duplicate process handle", [&] { child.exit_status_async(); });
  EXPECT_THROW(child.exit_status_async().get(), boost::broken_promise);
}

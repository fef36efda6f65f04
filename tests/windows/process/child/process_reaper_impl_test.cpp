// Background waits on the pool of the system: many children without threads, nothing lost, nothing left.

#include <fl/process/testing.hpp>

#include "children.hpp"
#include "handle_leak.hpp"
#include "import_patch.hpp"

#include <gtest/gtest.h>

#include <string>
#include <vector>

namespace process = foundation::core::process;
namespace testing_hooks = foundation::core::process::testing;
using children::exiting_child;
using process::detail::exited;
using test_support::handle_count;
using test_support::injected;
using test_support::loses_no_handle;

namespace {

constexpr const char* library = "libqxfl.dll";

unsigned exit_code(const boost::shared_future<process::exit_status_variant>& status) {
  return std::get<exited>(status.get()).exit_code;
}

}  // namespace

TEST(Reaper, ManyChildrenAtOnceAllReportAndNoThreadIsKeptForEach) {
  constexpr unsigned count = 150;
  children::common_event end;
  std::vector<process::process> all;
  std::vector<boost::shared_future<process::exit_status_variant>> statuses;
  for (unsigned i = 0; i < 10; ++i) {
    all.push_back(end.make_waiting_child());
    statuses.push_back(all.back().exit_status_async());
  }
  const std::size_t threads_for_ten = test_support::thread_ids().size();
  for (unsigned i = 10; i < count; ++i) {
    all.push_back(end.make_waiting_child());
    statuses.push_back(all.back().exit_status_async());
  }
  // The pool waits for up to 63 handles with one thread of its own.
  EXPECT_LE(test_support::thread_ids().size(), threads_for_ten + count / 63 + 1);
  for (const auto& status : statuses) {
    EXPECT_FALSE(status.is_ready());
  }
  end.set();
  for (const auto& status : statuses) {
    EXPECT_EQ(exit_code(status), 0u);
  }
  for (process::process& child : all) {
    EXPECT_TRUE(child.exited());
  }
}

TEST(Reaper, EachOfManyFuturesGetsTheStatusOfItsOwnChildAndEachWaitIsUnregistered) {
  injected<decltype(&UnregisterWaitEx)> unregistered(library, "UnregisterWaitEx");
  std::vector<boost::shared_future<process::exit_status_variant>> statuses;
  for (unsigned code = 0; code < 40; ++code) {
    statuses.push_back(exiting_child(code, code % 7).exit_status_async());
  }
  process::process ended = exiting_child(9);
  children::let_it_end(ended);
  EXPECT_EQ(exit_code(ended.exit_status_async()), 9u);
  for (unsigned code = 0; code < 40; ++code) {
    EXPECT_EQ(exit_code(statuses[code]), code);
  }
  while (unregistered.calls() < 41) {
    Sleep(1);  // The last of its callback; the watchdog ends a test that stays here.
  }
}

TEST(Reaper, TwoThousandChildrenOneAfterAnotherLeaveNoHandle) {
  const auto run_one = [](unsigned i) {
    process::iopipe output;
    process::process child(children::command("child_exit", {std::to_string(i % 200)}), children::output_to(output));
    if (i % 4 == 0) {
      return;  // abandoned while it runs or just after
    }
    EXPECT_EQ(children::read_all(output.device()), "");
    if (i % 4 == 1) {
      EXPECT_EQ(exit_code(child.exit_status_async()), i % 200);
    } else {
      EXPECT_EQ(child.exit_status(), i % 200);
    }
  };
  const auto run = [&](unsigned count) {
    for (unsigned i = 0; i < count; ++i) {
      run_one(i);
    }
    testing_hooks::join_all_async_procs();
  };
  run(20);
  const unsigned before = handle_count();
  run(2000);
  // The pool may keep a thread and its objects more or less at any moment; a leak would be counted in hundreds.
  EXPECT_LE(handle_count(), before + 10);
  EXPECT_TRUE(loses_no_handle([&] { run(20); }));
}

TEST(Reaper, ANewQualityOfServiceBreaksTheOpenFuturesAndLeavesTheChildrenRunning) {
  children::common_event end;
  process::process child = end.make_waiting_child();
  const auto status = child.exit_status_async();
  injected<decltype(&GetModuleHandleExW)> held(library, "GetModuleHandleExW");
  DWORD how = 0;
  held.handle_with([&](auto original, DWORD flags, auto... rest) { return original(how = flags, rest...); });
  testing_hooks::set_implementation_qos(process::implementation_qos{7});
  testing_hooks::get_implementation_qos();
  EXPECT_TRUE(how & GET_MODULE_HANDLE_EX_FLAG_PIN) << "its callbacks need the library";
  EXPECT_THROW(status.get(), boost::broken_promise);
  void* const handle = child.native_handle();
  EXPECT_EQ(WaitForSingleObject(handle, 0), static_cast<DWORD>(WAIT_TIMEOUT));
  end.set();
  EXPECT_EQ(WaitForSingleObject(handle, INFINITE), WAIT_OBJECT_0);
  CloseHandle(handle);
}

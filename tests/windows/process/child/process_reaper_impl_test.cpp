// Background waits on the pool of the system: many children without threads, nothing lost, nothing left.

#include <fl/process/testing.hpp>

#include "children.hpp"
#include "every_test.hpp"
#include "import_patch.hpp"

namespace process = foundation::core::process;
namespace testing_hooks = foundation::core::process::testing;
using process::detail::exited;
using test_support::injected;

namespace {

unsigned exit_code(const boost::shared_future<process::exit_status_variant>& status) {
  return std::get<exited>(status.get()).exit_code;
}

}  // namespace

TEST(Reaper, ManyChildrenAtOnceAllReportAndNoThreadIsKeptForEach) {
  children::common_event end;
  std::vector<process::process> all;
  std::vector<boost::shared_future<process::exit_status_variant>> statuses;
  const auto threads_for = [&](unsigned count) {
    while (all.size() != count) {
      all.emplace_back(end.waiting());
      statuses.push_back(all.back().exit_status_async());
    }
    return test_support::thread_ids().size();
  };
  const std::size_t for_ten = threads_for(10);
  // The pool waits for up to 63 handles with one thread of its own.
  EXPECT_LE(threads_for(70), for_ten + 2);
  injected<decltype(&UnregisterWaitEx)> unregistered("libqxfl.dll", "UnregisterWaitEx");
  for (const auto& status : statuses) {
    EXPECT_FALSE(status.is_ready());
  }
  end.set();
  for (const auto& status : statuses) {
    EXPECT_EQ(exit_code(status), 0u);
  }
  while (unregistered.calls() < statuses.size()) {
    Sleep(1);  // The last of its callback; the watchdog ends a test that stays here.
  }
}

TEST(Reaper, GivesEachFutureTheStatusOfItsOwnChildAndLeavesNoHandle) {
  constexpr unsigned count = 40;
  const auto run = [] {
    std::vector<boost::shared_future<process::exit_status_variant>> statuses;
    for (unsigned code = 0; code != count; ++code) {
      statuses.push_back(children::exiting_child(code, code % 7).exit_status_async());
      children::exiting_child(code);  // abandoned while it runs or just after
    }
    for (unsigned code = 0; code != count; ++code) {
      EXPECT_EQ(exit_code(statuses[code]), code);
    }
    testing_hooks::join_all_async_procs();
    return test_support::handle_count();
  };
  // The pool may keep a thread and its objects more or less at any moment; a leak would be one for each child.
  const auto before = run();
  EXPECT_LT(run(), before + count / 2);
}

TEST(Reaper, HoldsTheLibraryForItsCallbacksAndLeavesTheChildrenRunning) {
  children::waiting_child waiting;
  const auto status = waiting.object().exit_status_async();
  injected<decltype(&GetModuleHandleExW)> held("libqxfl.dll", "GetModuleHandleExW");
  DWORD how = 0;
  held.handle_with([&](auto original, DWORD flags, auto... rest) { return original(how = flags, rest...); });
  testing_hooks::set_implementation_qos(process::implementation_qos{7});
  testing_hooks::get_implementation_qos();
  EXPECT_TRUE(how & GET_MODULE_HANDLE_EX_FLAG_PIN);
  EXPECT_THROW(status.get(), boost::broken_promise);
  void* const handle = waiting.object().native_handle();
  EXPECT_EQ(WaitForSingleObject(handle, 0), static_cast<DWORD>(WAIT_TIMEOUT));
  CloseHandle(handle);
}

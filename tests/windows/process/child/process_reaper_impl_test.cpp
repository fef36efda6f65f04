// Background waits on the pool of the system, on events and on a real child: many without threads, and nothing of the
// library unloaded.

#include <fl/process/testing.hpp>

#include "children.hpp"
#include "every_test.hpp"
#include "import_patch.hpp"

namespace process = foundation::core::process;
namespace testing_hooks = foundation::core::process::testing;
using test_support::injected;

TEST(Reaper, ManyChildrenAtOnceAllReportAndNoThreadIsKeptForEach) {
  const children::stand_ins no_processes(false);
  const process::command any("C:\\a.exe");
  std::vector<process::process> all;
  std::vector<boost::shared_future<process::exit_status_variant>> statuses;
  const auto threads_for = [&](unsigned count) {
    while (all.size() != count) {
      all.emplace_back(any);
      statuses.push_back(all.back().exit_status_async());
    }
    return test_support::thread_ids().size();
  };
  const std::size_t for_ten = threads_for(10);
  // The pool waits for up to 63 handles with one thread of its own.
  EXPECT_LE(threads_for(70), for_ten + 2);
  injected<decltype(&UnregisterWaitEx)> unregistered("UnregisterWaitEx");
  for (const auto& status : statuses) {
    EXPECT_FALSE(status.is_ready());
  }
  std::for_each(all.begin(), all.end(), children::end_stand_in);
  for (const auto& status : statuses) {
    EXPECT_EQ(status.get(), process::exit_status_variant(process::detail::exited{5, 5}));
  }
  while (unregistered.calls() < statuses.size()) {
    Sleep(1);  // The last of its callback; the watchdog ends a test that stays here.
  }
}

TEST(Reaper, HoldsTheLibraryForItsCallbacksAndLeavesTheChildrenRunning) {
  children::common_event end;
  process::process child(end.waiting());
  const auto status = child.exit_status_async();
  DWORD how = 0;
  const injected<decltype(&GetModuleHandleExW)> held(
      "GetModuleHandleExW", [&](auto original, DWORD flags, auto... rest) { return original(how = flags, rest...); });
  testing_hooks::set_implementation_qos(process::implementation_qos{7});
  testing_hooks::get_implementation_qos();
  EXPECT_TRUE(how & GET_MODULE_HANDLE_EX_FLAG_PIN);
  EXPECT_THROW(status.get(), boost::broken_promise);
  void* const handle = child.native_handle();
  EXPECT_EQ(WaitForSingleObject(handle, 0), static_cast<DWORD>(WAIT_TIMEOUT));
  CloseHandle(handle);
}

// The reaper with scripted children: what becomes of its promises and handles, who waits for whom, and when the waits
// are given up.
#include "process/child/process_reaper.hpp"

#include <fl/process/testing.hpp>

#include "every_test.hpp"
#include "host/child_system.hpp"
#include "host/process_end.hpp"
#include "process/child/give_up_waits_at_exit.hpp"
#include "process/child/process_reaper_instance.hpp"

#include <boost/system/system_error.hpp>

namespace process = foundation::core::process;
namespace testing_hooks = foundation::core::process::testing;
using foundation::core::sysdep::windows::exit_status_promise;
using foundation::core::sysdep::windows::give_up_waits_at_exit;
using foundation::core::sysdep::windows::process_reaper;
using foundation::core::sysdep::windows::process_reaper_instance;
using process::exit_status_variant;
using process::implementation_qos;
using process::detail::exited;

namespace {

using status_future = boost::shared_future<exit_status_variant>;

status_future wait_on(void* child, process_reaper& reaper = *process_reaper_instance()) {
  exit_status_promise promise;
  status_future status = promise.get_future().share();
  reaper.async_wait_on(child, std::move(promise));
  return status;
}

}  // namespace

using Reaper = test_support::with_child_system;

TEST_F(Reaper, EachFutureGetsTheAnswerForItsOwnChild) {
  std::vector<status_future> statuses;
  for (int i = 0; i < 3; ++i) {
    statuses.push_back(wait_on(system.make_child()));
  }
  system.end(2, 22);
  EXPECT_EQ(statuses[1].get(), exit_status_variant(exited{22, 22}));
  EXPECT_FALSE(statuses[0].is_ready() || statuses[2].is_ready());
  system.end(1, 11);
  EXPECT_EQ(statuses[0].get(), exit_status_variant(exited{11, 11}));
  system.before("read_exit_status", test_support::refusal("GetExitCodeProcess"));
  system.end(3);
  EXPECT_THROW(statuses[2].get(), boost::system::system_error) << "a refusal is an answer, too";
  system.before("read_exit_status", nullptr);
  for (int id = 4; id != 24; ++id) {  // The callback of a child that has ended comes before its registration is over.
    void* const ended = system.make_child();
    system.end(id, 44);
    EXPECT_EQ(wait_on(ended).get(), exit_status_variant(exited{44, 44}));
  }
}

TEST_F(Reaper, ARefusedRegistrationClosesTheHandleAndBreaksThePromise) {
  system.before("register_wait", test_support::refusal("RegisterWaitForSingleObject"));
  exit_status_promise promise;
  const status_future status = promise.get_future().share();
  std::atomic<bool> continued{false};
  const auto continuation = status.then(boost::launch::sync, [&](auto) {
    testing_hooks::join_all_async_procs();
    continued = true;
  });
  EXPECT_THROW(process_reaper_instance()->async_wait_on(system.make_child(), std::move(promise)),
               boost::system::system_error);
  EXPECT_TRUE(continued) << "and runs what was to come then without the lock";
  EXPECT_THROW(status.get(), boost::broken_promise);
  EXPECT_EQ(system.open_handles(), 0u);
}

// The last callback may still be on its way out of a reaper that a thread has waited for and then destroys.
TEST_F(Reaper, JoinFindsEveryFutureReadyAndTheReaperMayGoAtOnce) {
  std::atomic<bool> in_callback;
  system.before("read_exit_status", [&] {
    in_callback = true;
    for (int turn = 0; turn != 100; ++turn) {
      std::this_thread::yield();  // A join that would not wait for it comes back meanwhile.
    }
  });
  for (int round = 0; round != 100; ++round) {
    in_callback = false;
    auto reaper = std::make_unique<process_reaper>();
    const status_future own = wait_on(system.make_child(), *reaper), common = wait_on(system.make_child());
    std::thread ending([&] { system.end_all(); });
    while (!in_callback) {
      std::this_thread::yield();
    }
    reaper->join();
    EXPECT_TRUE(testing_hooks::join_all_async_procs());
    EXPECT_TRUE(own.is_ready() && common.is_ready());
    reaper.reset();
    ending.join();
  }
}

TEST_F(Reaper, ANewQualityOfServiceBreaksTheOpenFuturesAtTheNextUse) {
  const status_future status = wait_on(system.make_child());
  testing_hooks::set_implementation_qos(implementation_qos{7});
  EXPECT_FALSE(status.is_ready());
  EXPECT_EQ(testing_hooks::get_implementation_qos(), implementation_qos{2});
  EXPECT_THROW(status.get(), boost::broken_promise);
  EXPECT_EQ(system.registered_waits(), 0u);
  const status_future next = wait_on(system.make_child());
  testing_hooks::set_implementation_qos(implementation_qos{7});
  testing_hooks::get_implementation_qos();
  EXPECT_FALSE(next.is_ready()) << "the value in force changes nothing";
}

// Replaced again and again while callbacks run: nobody may wait for ever, and no callback may find its reaper gone.
TEST_F(Reaper, IsReplacedSafelyWhileChildrenEnd) {
  for (std::uint32_t round = 100; round < 140; ++round) {
    std::vector<status_future> statuses;
    for (int i = 0; i < 3; ++i) {
      statuses.push_back(wait_on(system.make_child()));
    }
    std::thread ending([&] { system.end_all(); });
    testing_hooks::set_implementation_qos(implementation_qos{round});
    testing_hooks::join_all_async_procs();
    for (const auto& status : statuses) {
      EXPECT_TRUE(status.is_ready());
    }
    ending.join();
  }
}

// They run inside callbacks: none may wait for itself, and no two for each other.
TEST_F(Reaper, ContinuationsMayWaitForAllOthersAndReplaceIt) {
  for (const std::uint32_t replacement : {0u, 200u}) {
    std::atomic<std::uint32_t> next{replacement};
    std::vector<boost::future<void>> done;
    for (int i = 0; i < 4; ++i) {
      done.push_back(wait_on(system.make_child()).then(boost::launch::sync, [&](auto) {
        if (replacement != 0) {
          testing_hooks::set_implementation_qos(implementation_qos{++next});
        }
        testing_hooks::join_all_async_procs();
      }));
    }
    system.end_all();
    for (auto& each : done) {
      each.get();
    }
  }
}

TEST_F(Reaper, AtExitGivesUpItsWaitsUnlessTheProcessEnds) {
  static std::shared_ptr<process_reaper> last;
  last = std::make_shared<process_reaper>();
  const status_future status = wait_on(system.make_child(), *last);
  for (const bool ending : {true, false}) {
    test_support::set_process_is_ending(ending);
    {
      const give_up_waits_at_exit at_exit([] { return last; });
    }
    EXPECT_EQ(status.is_ready(), !ending);
  }
  EXPECT_THROW(status.get(), boost::broken_promise);
  EXPECT_EQ(system.registered_waits(), 0u);
  last.reset();
}

// The states of a process object, with scripted children: what each of them allows, what remains when the system
// refuses by half, and several threads on one object.
#include <fl/process/process.hpp>
#include <fl/process/testing.hpp>

#include "every_test.hpp"
#include "host/child_system.hpp"
#include "host/process_end.hpp"
#include "process/child/process_reaper_impl.hpp"

#include <boost/system/system_error.hpp>

#include <span>

namespace process = foundation::core::process;
using process::exit_status_variant;
using process::detail::exited;
using process::detail::unknown;
using test_support::refusal;
using testing::StartsWith;
using testing::ThrowsMessage;

namespace {

const process::command any("child");

// How many allocations this thread may still make; below 0 any number.
constinit thread_local int allocations_left = -1;

template <class Operation>
void expect_refusal(const char* call, Operation operation) {
  EXPECT_THAT(operation, ThrowsMessage<boost::system::system_error>(StartsWith(std::string(call) + ": ")));
}

}  // namespace

void* operator new(std::size_t size) {
  void* const made = allocations_left != 0 ? std::malloc(size) : nullptr;
  allocations_left -= allocations_left > 0;
  return made != nullptr ? made : throw std::bad_alloc();
}
void* operator new(std::size_t size, const std::nothrow_t&) noexcept {
  return std::malloc(size);
}
void operator delete(void* p) noexcept {
  std::free(p);
}
void operator delete(void* p, std::size_t) noexcept {
  std::free(p);
}

using Process = test_support::with_child_system;

TEST_F(Process, RefusesWhatItsStateDoesNotAllow) {
  process::process child(any);
  system.end(1, 5);
  child.join();
  using object = process::process;
  const std::function<void(object&)> operations[] = {&object::kill,
                                                     &object::terminate,
                                                     &object::working_set_size,
                                                     &object::exit_status,
                                                     &object::detailed_exit_status,
                                                     &object::exit_status_async,
                                                     &object::exited,
                                                     &object::join,
                                                     &object::id,
                                                     &object::native_handle,
                                                     &object::release};
  for (const auto& operate : std::span(operations).first(3)) {
    EXPECT_THAT([&] { operate(child); },
                ThrowsMessage<process::process_kill_error>(
                    "An error occurred while trying to kill child process: process already exited"));
  }
  EXPECT_THAT([&] { child.release(); },
              ThrowsMessage<std::logic_error>("cannot release a process with an active future"));

  process::process moved(std::move(child)), detached(any);
  EXPECT_EQ(moved.exit_status(), 5u);
  detached.detach();
  EXPECT_NO_THROW(detached.detach());
  for (const auto& operate : operations) {
    EXPECT_THAT([&] { operate(child); }, ThrowsMessage<std::logic_error>("process has been detached"));
    EXPECT_THAT([&] { operate(detached); }, ThrowsMessage<std::logic_error>("process has been detached"));
  }
}

TEST_F(Process, IsReleasableUntilItsStatusIsKnown) {
  constexpr unsigned still_active = 259;
  process::process child(any);
  EXPECT_FALSE(child.exited());
  system.end(1, still_active);
  EXPECT_FALSE(child.exited()) << "it looks as if it ran";
  EXPECT_THAT([&] { child.exit_status(); },
              ThrowsMessage<std::logic_error>("tried to read native status for a process that is still running"));
  EXPECT_TRUE(child.exited()) << "the wait has come back, and its answer stays";
  EXPECT_EQ(child.detailed_exit_status(), exit_status_variant(unknown{}));
  EXPECT_THROW(child.release(), std::logic_error);

  process::process running(any);
  EXPECT_FALSE(running.exited());
  void* const released = running.release();
  EXPECT_EQ(system.registered_waits(), 0u) << "the caller follows the child from here on";
  foundation::core::sysdep::windows::close_process_handle(released);
}

TEST_F(Process, LeavesTheChildToTheReaperWhenItIsDestroyedOrMovedOnto) {
  system.before("kill_child", [] { ADD_FAILURE(); });
  {
    process::process first{boost::tuples::tuple<const process::command, const process::context>(any, {})};
    first = process::process(any);
    EXPECT_EQ(system.registered_waits(), 1u) << "of the child that it had";
    EXPECT_EQ(first.id(), 2);
    process::process& itself = first;
    first = std::move(itself);
    EXPECT_EQ(first.id(), 2);
  }
  EXPECT_EQ(system.registered_waits(), 2u);
  EXPECT_EQ(system.open_handles(), 2u);
}

// An object of a library is destroyed when the other threads have been ended, perhaps in the reaper's lock.
TEST_F(Process, LeavesTheChildAloneWhenItsParentEnds) {
  {
    const process::process child(any);
    test_support::set_process_is_ending(true);
  }
  test_support::set_process_is_ending(false);
  EXPECT_EQ(system.registered_waits(), 0u);
  EXPECT_EQ(system.open_handles(), 0u);
}

TEST_F(Process, AsksItsFutureAndNotTheSystemOnceThereIsOne) {
  process::process child(any);
  system.before("register_wait", [&] { EXPECT_EQ(child.id(), 1) << "others need not wait for the registration"; });
  const auto status = child.exit_status_async();
  system.before("poll_child", [] { ADD_FAILURE(); });
  EXPECT_FALSE(child.exited());
  child.detach();
  EXPECT_EQ(system.registered_waits(), 1u) << "the child is waited for once";
  system.end(1, 6);
  EXPECT_EQ(status.get(), exit_status_variant(exited{6, 6}));
}

// A reaper that is replaced breaks its futures, whose continuations may ask the very object.
TEST_F(Process, ADetachReplacesTheReaperWithoutItsLock) {
  process::process child(any), other(any);
  auto id = other.exit_status_async().then(boost::launch::sync, [&](auto) { return child.id(); });
  process::testing::set_implementation_qos(process::implementation_qos{300});
  child.detach();
  EXPECT_EQ(id.get(), 1);
}

TEST_F(Process, ADetachLeavesABlockedWaitItsHandle) {
  process::process child(any);
  system.before("wait_for_child", [&] {
    child.detach();
    system.end(1);
  });
  EXPECT_EQ(child.exit_status(), 0u);
}

TEST_F(Process, KeepsARefusedWaitAsItsStatusButNotAnImpossibleAnswer) {
  process::process polled(any), blocked(any);
  system.before("poll_child", [] { throw std::runtime_error("impossible"); });
  EXPECT_THROW(polled.exited(), std::runtime_error);
  system.before("poll_child", refusal("WaitForSingleObject"));
  EXPECT_TRUE(polled.exited()) << "the impossible answer was not kept, the refusal is";
  expect_refusal("WaitForSingleObject", [&] { polled.exit_status(); });

  system.before("wait_for_child", refusal("WaitForSingleObject"));
  expect_refusal("WaitForSingleObject", [&] { blocked.join(); });
  process::process broken(any);
  system.before("wait_for_child", [] { throw std::runtime_error("impossible"); });
  EXPECT_THROW(broken.exit_status(), std::runtime_error);
  EXPECT_THROW(broken.exit_status(), boost::broken_promise);
}

TEST_F(Process, IsAsBeforeWhenTheSystemRefusesADetach) {
  for (const char* call : {"duplicate_child_handle", "register_wait"}) {
    SCOPED_TRACE(call);
    auto object = std::make_unique<process::process>(any);
    process::process& child = *object;
    const std::size_t handles = system.open_handles();
    system.before(call, refusal(call));
    expect_refusal(call, [&] { child.detach(); });
    EXPECT_EQ(system.open_handles(), handles);
    EXPECT_NO_THROW(child.id()) << "a failed detach keeps the child";
    expect_refusal(call, [&] { child.exit_status_async(); });
    EXPECT_EQ(system.open_handles(), handles);
    EXPECT_THROW(child.exit_status_async().get(), boost::broken_promise);
    EXPECT_NO_THROW(child = process::process(any));
    EXPECT_NE(child.id(), 1);
    object.reset();  // The destructor, too, goes on without a background wait.
    EXPECT_EQ(system.registered_waits(), 0u);
    system.before(call, nullptr);
  }
}

// What has no memory for its answer breaks, or has nothing to be done then; the program goes on.
TEST_F(Process, GoesOnWithoutMemoryForAStatus) {
  for (int allocations = 0; allocations >= 0; ++allocations) {
    process::process child(any);
    try {
      allocations_left = allocations;
      child.exit_status_async();
      allocations = -2;
    } catch (const std::bad_alloc&) {
    }
    allocations_left = -1;
    const auto status = child.exit_status_async();
    if (status.is_ready()) {
      EXPECT_THROW(status.get(), boost::broken_promise);
    }
  }
  process::process child(any), refused(any);
  const auto status = child.exit_status_async(), refused_status = refused.exit_status_async();
  const auto continuation = status.then(boost::launch::sync, [](auto) {});
  system.before("read_exit_status", [] { allocations_left = 0; });
  system.end(child.id(), 6);
  EXPECT_EQ(status.get(), exit_status_variant(exited{6, 6}));
  system.before("read_exit_status", [] {
    try {
      refusal("GetExitCodeProcess")();
    } catch (...) {
      allocations_left = 0;
      throw;
    }
  });
  system.end(refused.id());
  EXPECT_THROW(refused_status.get(), boost::broken_promise);
  status.then(boost::launch::sync, [](auto) {});
  EXPECT_TRUE(continuation.is_ready()) << "it comes with the next one";
}

TEST_F(Process, ChangesNothingWhenALaunchFails) {
  process::process child(any);
  system.before("launch_child", [] { throw process::process_init_error("no"); });
  EXPECT_THAT([&] { child = process::process(any); },
              ThrowsMessage<process::process_init_error>("An error occurred while initializing child process: no"));
  EXPECT_EQ(child.id(), 1);
}

TEST_F(Process, KillFindsThatTheChildHasEndedSinceItWasLookedAt) {
  process::process child(any);
  system.before("kill_child", refusal("TerminateProcess"));
  expect_refusal("TerminateProcess", [&] { child.kill(); });
  const auto refuse_one_that_has_ended = [&] {
    system.end(1);
    refusal("OpenProcess")();
  };
  system.before("kill_child", refuse_one_that_has_ended);
  EXPECT_THROW(child.kill(), process::process_kill_error);
  process::process other(any);
  system.before("child_working_set_size", refuse_one_that_has_ended);
  expect_refusal("OpenProcess", [&] { other.working_set_size(); });
}

// All of them on one object, in all orders that come up: whoever comes before the detach gets the status, and the
// others are refused.
TEST_F(Process, ServesManyThreadsAtOnce) {
  const exit_status_variant seven = exited{7, 7};
  for (long long child = 1; child <= 40; ++child) {
    process::process object(any);
    const std::vector<std::function<bool()>> operations = {
        [&] { return object.exit_status() == 7; },
        [&] { return object.exit_status_async().get() == seven; },
        [&] { return object.exited() || object.detailed_exit_status() == seven; },
        [&] { return object.exited() || object.id() == child; },
        [&] { return foundation::core::sysdep::windows::close_process_handle(object.native_handle()), true; },
        [&] { return object.detach(), true; },
        [&] { return system.end(child, 7), true; }};
    std::atomic<std::size_t> ready{0};
    std::vector<std::jthread> threads;
    for (const auto& operation : operations) {
      threads.emplace_back([&] {
        for (++ready; ready < operations.size();) {
          std::this_thread::yield();
        }
        try {
          EXPECT_TRUE(operation());
        } catch (const std::logic_error&) {  // It was detached.
        }
      });
    }
  }
}

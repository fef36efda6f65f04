// On a scripted system: this file stands in for the clock, for waiting, and for what is known of threads.
#include "util/checked_lock.hpp"

#include "every_test.hpp"
#include "util/built_once.hpp"
#include "util/thread_id.hpp"
#include "util/waiting.hpp"

namespace {

using foundation::core::util::checked_lock;
using outcome = checked_lock::outcome;

struct {
  unsigned long self;
  std::uint64_t now, step;  // In milliseconds; a turn of waiting takes a step.
  int turns, looks;
  std::function<void()> at_turn;
  std::function<bool()> is_stopped;
  const void* reported;
  bool on_holders_stack;
} script;

/// Lets another thread act while this one waits.
template <class Action>
auto as(unsigned long thread, Action action) {
  const unsigned long before = std::exchange(script.self, thread);
  const auto result = action();
  script.self = before;
  return result;
}

class CheckedLock : public testing::Test {
 protected:
  CheckedLock() {
    script = {.self = 1,
              .now = 5000,
              .step = 1000,
              .turns = 0,
              .looks = 0,
              .at_turn = [] {},
              .is_stopped = [] { return false; },
              .reported = nullptr,
              .on_holders_stack = false};
    EXPECT_EQ(as(2, [&] { return lock.acquire(); }), outcome::acquired);
  }

  checked_lock lock{std::chrono::hours(1)};
};

TEST_F(CheckedLock, IsRefusedAtOnceToItsHolderAndGivesUpOneThatStandsStillTenSecondsLong) {
  EXPECT_EQ(as(2, [&] { return lock.acquire(); }), outcome::interrupted);
  script.is_stopped = [] { return script.looks != 3; };  // What it does once in between counts anew.
  EXPECT_EQ(lock.acquire(), outcome::given_up);
  EXPECT_EQ(script.now, 5000U + 13 * 1000);
  EXPECT_EQ(script.looks, 13);
  // Nobody else waits for it; but the lock is as good as new once it is free.
  EXPECT_EQ(as(3, [&] { return lock.acquire_last(); }), outcome::given_up);
  EXPECT_EQ(script.turns, 13);
  lock.unlock();
  EXPECT_EQ(lock.acquire(), outcome::acquired);
  EXPECT_EQ(as(3, [&] { return lock.acquire(); }), outcome::given_up);
  EXPECT_EQ(script.now, 5000U + 23 * 1000);
}

TEST_F(CheckedLock, LooksOnceASecondAndFromOneThreadAtATime) {
  script.step = 400;
  script.is_stopped = [&] {
    // The other one may wait as long as it likes: it must not look, since it would find this one's look.
    if (script.looks == 1) {
      as(3, [&] { return lock.acquire(); });
      lock.unlock();
      EXPECT_EQ(script.looks, 1);
    }
    return true;
  };
  script.at_turn = [&] {
    if (script.self == 3 && script.turns == 50) {
      lock.unlock();
    }
  };
  EXPECT_EQ(lock.acquire(), outcome::acquired);
  EXPECT_EQ(script.looks, 1);
}

TEST_F(CheckedLock, GivesUpAHolderThatWaitsForTheReportOfItsOwnFaultAndOneBeyondTheLimit) {
  int fault = 0;
  script.on_holders_stack = true;
  EXPECT_EQ(lock.acquire(&fault), outcome::given_up);
  EXPECT_EQ(script.reported, &fault);
  EXPECT_EQ(script.now, 5000U + 10 * 1000);
  lock.unlock();
  EXPECT_EQ(as(2, [&] { return lock.acquire(); }), outcome::acquired);
  script.now = 0;
  EXPECT_EQ(lock.acquire(), outcome::given_up);  // For no fault, the stack says nothing.
  EXPECT_EQ(script.now, 60U * 60 * 1000);
}

TEST_F(CheckedLock, BeginsToCountAnewWithEachHolder) {
  script.is_stopped = [] { return true; };
  script.at_turn = [&] {
    if (script.turns == 9) {
      lock.unlock();
      EXPECT_EQ(as(3, [&] { return lock.acquire(); }), outcome::acquired);
    }
  };
  EXPECT_EQ(lock.acquire(), outcome::given_up);
  EXPECT_EQ(script.now, 5000U + (9 + 10) * 1000);
}

TEST_F(CheckedLock, GivesOthersATurnBeforeItsLastHolderAndWhoeverAsksToBeLast) {
  lock.unlock();
  EXPECT_EQ(as(2, [&] { return lock.acquire(); }), outcome::acquired);
  EXPECT_EQ(script.turns, 0);  // Nobody waits.
  bool inside = false;
  script.at_turn = [&] {
    if (!std::exchange(inside, true)) {
      lock.unlock();
      script.turns = 0;
      EXPECT_EQ(as(2, [&] { return lock.acquire(); }), outcome::acquired);
      EXPECT_EQ(script.turns, static_cast<int>(foundation::core::util::short_turns) + 2);
      lock.unlock();
      // Free, but the outer call waits.
      EXPECT_EQ(as(3, [&] { return lock.acquire_last(); }), outcome::given_up);
    }
  };
  EXPECT_EQ(lock.acquire(), outcome::acquired);
  lock.unlock();
  EXPECT_EQ(as(3, [&] { return lock.acquire_last(); }), outcome::acquired);
}

struct slow_part {
  slow_part() {
    ++attempts;
    if (fails) {
      throw 5;
    }
    started = true;
    started.notify_all();
    finished.wait(false);
  }
  static inline int attempts = 0;
  static inline bool fails = false;
  static inline std::atomic<bool> started = false, finished = false;
};

TEST(BuiltOnce, IsBuiltByOneThreadWhileOthersWaitAndAgainAfterAFailure) {
  static constinit foundation::core::util::built_once<slow_part> once;
  slow_part::fails = true;
  EXPECT_THROW(once.get(), int);
  slow_part::fails = false;
  script.turns = 0;
  script.at_turn = [] {
    if (script.turns == 3) {
      slow_part::finished = true;
      slow_part::finished.notify_all();
    }
  };
  std::thread builder([] { once.get(); });
  slow_part::started.wait(false);
  slow_part* const part = &once.get();
  builder.join();
  EXPECT_GE(script.turns, 3);
  EXPECT_EQ(&once.get(), part);
  EXPECT_EQ(slow_part::attempts, 2);
}

}  // namespace

namespace foundation::core::util {

void wait_turn(unsigned) noexcept {
  ++script.turns;
  script.now += script.step;
  script.at_turn();
}
std::uint64_t milliseconds_passed() noexcept {
  return script.now;
}
unsigned long current_thread_id() noexcept {
  return script.self;
}
bool is_stopped(unsigned long) noexcept {
  ++script.looks;
  return script.is_stopped();
}
bool on_same_stack(const void* a, const void*) noexcept {
  script.reported = a;
  return script.on_holders_stack;
}

}  // namespace foundation::core::util

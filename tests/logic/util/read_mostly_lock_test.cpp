#include "util/read_mostly_lock.hpp"

#ifdef _WIN32
#include "every_test.hpp"
#include "memory_shortage.hpp"

#include <windows.h>
#else
#include "host/process_end.hpp"
#endif

namespace {

#ifdef _WIN32
// First in the program: threads that have ended leave what the run-time had made for them to later ones.
TEST(ReadMostlyLock, AllocatesNothingWhereAWriterWaits) {
  static constinit foundation::core::util::read_mostly_lock lock;
  lock.lock_shared();
  test_support::take_memory_away();
  // The run-time has made nothing for this thread, and faults where it cannot.
  const auto write = [](void*) -> DWORD { return lock.lock(), 0; };
  const HANDLE writer = CreateThread(nullptr, 0, write, nullptr, 0, nullptr);
  EXPECT_NE(WaitForSingleObject(writer, 100), WAIT_OBJECT_0);
  lock.unlock_shared();
  WaitForSingleObject(writer, INFINITE);
  test_support::give_memory_back();
}
#else
TEST(ReadMostlyLock, IsWaitedForByNobodyWhenTheProcessEndsAndWhoHeldItIsGone) {
  static constinit foundation::core::util::read_mostly_lock read, written;
  read.lock_shared();
  written.lock();
  test_support::set_process_is_ending(true);
  for (auto* const lock : {&read, &written}) {
    const std::lock_guard writing(*lock);
    const std::shared_lock reading(*lock);
  }
  test_support::set_process_is_ending(false);
}
#endif

// Under a lock that fails, steps get lost, a reader sees one count without the other, or somebody waits for ever.
TEST(ReadMostlyLock, KeepsWritersAwayFromReadersAndFromEachOther) {
  static constinit foundation::core::util::read_mostly_lock lock;
  volatile int first = 0, second = 0;
  std::atomic<int> torn{0};
  std::vector<std::jthread> threads;
  for (int number = 0; number != 4; ++number) {
    threads.emplace_back([&] {
      for (int turn = 0; turn != 20000; ++turn) {
        if (turn % 20 == 0) {
          const std::lock_guard writing(lock);
          first = first + 1;
          std::this_thread::yield();  // A fault of the lock lets another thread in here.
          second = second + 1;
        } else {
          const std::shared_lock reading(lock);
          const int seen = first;
          if (turn % 20 == 1) {
            std::this_thread::yield();
          }
          torn += seen != second;
        }
      }
    });
  }
  threads.clear();
  EXPECT_EQ(torn, 0);
  EXPECT_EQ(first, 4000);
}

}  // namespace

// child_faults --gtest_filter=ChildFaults.NAME
//
// Test programs that go wrong, each test in its own way, for the tests of the test main: they start this program and
// look at what it reports. It has the test main's crash report and watchdog like any other test program. Not a test by
// itself.
#include <gtest/gtest.h>
#include <windows.h>

#include <cstdlib>
#include <stdexcept>
#include <thread>

namespace child_faults {

// The functions that reports must name. Something follows each call, so that no call is turned into a jump.
volatile int* volatile nowhere = nullptr;
volatile int after = 0;

[[gnu::noinline]] void write_through_null() {
  *nowhere = 1;
  after = 1;
}

[[gnu::noinline]] void call_through_null() {
  reinterpret_cast<void (*)()>(const_cast<int*>(nowhere))();
  after = 1;
}

[[gnu::noinline]] int overflow_the_stack(int depth) {
  volatile char kept[4096];  // read after the inner call, so that each call needs a frame of its own
  kept[0] = static_cast<char>(depth);
  const int inner = after != 0 ? 0 : overflow_the_stack(depth + 1);
  return inner + kept[0];
}

[[gnu::noinline]] void wait_for_ever() {
  ::Sleep(INFINITE);
  after = 1;
}

[[gnu::noinline]] void spin_for_ever() {
  while (after == 0)
    after = 0;
}

[[gnu::noinline]] void throw_where_nobody_catches() {
  throw std::runtime_error("thrown on purpose");
}

[[gnu::noinline]] void give_up() {
  std::abort();
}

}  // namespace child_faults

TEST(ChildFaults, WritesThroughNull) {
  child_faults::write_through_null();
}

TEST(ChildFaults, CallsThroughNull) {
  child_faults::call_through_null();
}

TEST(ChildFaults, CrashesInAnotherThread) {
  std::thread(child_faults::write_through_null).join();
}

TEST(ChildFaults, OverflowsTheStack) {
  child_faults::after = child_faults::overflow_the_stack(0);
}

TEST(ChildFaults, Terminates) {
  std::thread(child_faults::throw_where_nobody_catches).join();
}

TEST(ChildFaults, Aborts) {
  child_faults::give_up();
}

TEST(ChildFaults, Hangs) {
  std::thread other(child_faults::spin_for_ever);
  child_faults::wait_for_ever();
  other.join();
}

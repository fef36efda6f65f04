// child_faults --gtest_filter=ChildFaults.NAME
//
// Tests that go wrong, each in its own way, for the tests of the test main, which start this program and look at what
// it reports. Not a test by itself.
#include <gtest/gtest.h>

#include <windows.h>

#include <stdexcept>
#include <thread>

namespace child_faults {

volatile int* volatile nowhere = nullptr;
volatile bool for_ever = true;

[[gnu::noinline]] void throw_where_nobody_catches() {
  throw std::runtime_error("thrown on purpose");
}

[[gnu::noinline]] void spin_for_ever() {
  while (for_ever) {
  }
}

}  // namespace child_faults

TEST(ChildFaults, WritesThroughNull) {
  *child_faults::nowhere = 1;
}

TEST(ChildFaults, Terminates) {
  std::thread(child_faults::throw_where_nobody_catches).join();
}

TEST(ChildFaults, Hangs) {
  const std::jthread other(child_faults::spin_for_ever);
  ::Sleep(INFINITE);
}

#include "handle_leak.hpp"

#include "support.hpp"

namespace test_support {

testing::AssertionResult loses_no_handle(const std::function<void()>& work) {
  testing::AssertionResult lost = testing::AssertionFailure() << "handles before and after each run:";
  for (int run = 0; run != 4; ++run) {
    const auto before = handle_count();
    work();
    const auto after = handle_count();
    if (after <= before) {
      return testing::AssertionSuccess();
    }
    lost << " " << before << ", " << after << ";";
  }
  return lost;
}

}  // namespace test_support

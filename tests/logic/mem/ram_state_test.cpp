// The advice on memory. The figures are scripted.

#include <fl/mem/ram_state.hpp>

#include "every_test.hpp"
#include "host/memory.hpp"

#include <climits>

namespace {

using namespace foundation::core::mem;

constexpr std::uint64_t gib = std::uint64_t{1} << 30;

RamState state_of(std::uint64_t total, std::uint64_t available) {
  test_support::host_memory() = {total, available};
  return RamState();
}

TEST(RamState, TellsThePressureAndAdvisesWhatIsAvailableBeyondTheReserve) {
  EXPECT_EQ(state_of(16 * gib, 0).get_memory_pressure(), 100);
  EXPECT_EQ(state_of(16 * gib, 16 * gib).get_memory_pressure(), 4);
  const RamState half = state_of(16 * gib, 8 * gib);
  EXPECT_EQ(half.get_memory_pressure(), 22);
  EXPECT_EQ(half.get_max_advised_allocation(22), 0u);
  // ln(0.23) / -3 = 0.48989...: that much of the whole is to remain.
  EXPECT_NEAR(static_cast<double>(half.get_max_advised_allocation(23)), (8 - 16 * 0.4898919) * double{gib}, 1e4);
  for (const int most : {100, 101, INT_MAX}) {
    EXPECT_EQ(half.get_max_advised_allocation(most), 8 * gib) << most;
  }
  for (const int least : {1, 0, -1, INT_MIN}) {
    EXPECT_EQ(state_of(gib, gib).get_max_advised_allocation(least), 0u) << least;
  }
}

}  // namespace

// Snapshots of scripted processors.

#include <fl/system.hpp>
#include <foundation_log/control.hpp>

#include "every_test.hpp"
#include "host/log_records.hpp"
#include "host/processors.hpp"

namespace {
unsigned known_threads = 6;  ///< what the C++ library says of the machine
}

unsigned std::thread::hardware_concurrency() noexcept {
  return known_threads;
}

namespace {

using namespace foundation::core::system;
using namespace foundation::log;
using test_support::processors;

CpuInfo refreshed() {
  CpuInfo info;
  info.refresh();
  return info;
}

class CpuInfoTest : public testing::Test {
 protected:
  CpuInfoTest() {
    test_support::drain_log_records();
    processors() = {};
    processors().records = test_support::processor_records({16}, 2);
  }

  static void expect_record(const std::string& text) {
    EXPECT_THAT(test_support::drain_log_records(),
                testing::ElementsAre(testing::Field(&test_support::log_record::text, text)));
  }
};

TEST_F(CpuInfoTest, TellsAPartOfAMachineAndItsTiersWithoutAFrequency) {
  set_level("foundation::core::system::CpuInfo", severity::complaint);
  const CpuInfo whole = refreshed();
  expect_record("Exception caught: std::runtime_error: no frequency here");
  EXPECT_TRUE(whole.hyperthreaded() && whole.detailsValid() && !whole.frequencyAvailable());
  EXPECT_EQ(getAvailableConcurrency(whole, false), 8u);
  EXPECT_EQ(getAvailableConcurrency(whole, true), 16u);
  processors().affinity.mask = 0b1111;
  CpuInfo part = whole;
  part.refresh();
  EXPECT_EQ(getAvailableConcurrency(part, false), 4u);
  EXPECT_EQ(getAvailableConcurrency(part, true), 4u);
  EXPECT_TRUE(part != whole);

  processors().affinity.mask = 0;
  for (const std::uint32_t core : {0u, 1u, 2u, 3u, 4u, 5u, 6u, 7u}) {
    processors().cpu_sets.push_back({core, core < 2});
  }
  const CpuInfo told = refreshed();
  EXPECT_EQ(told.performanceCores(), 2);
  EXPECT_EQ(told.efficiencyCores(), 6);
  EXPECT_TRUE(told == whole) << "tiers do not count";
}

TEST_F(CpuInfoTest, KeepsWhatItHadOrFallsBackIfTheSystemRefuses) {
  set_level("foundation::core::system::CpuInfo", severity::error);
  const CpuInfo before = refreshed();
  processors().no_memory = true;
  CpuInfo fresh;
  EXPECT_THROW(fresh.refresh(), std::bad_alloc);
  EXPECT_EQ(fresh.aCores(), 0u);
  EXPECT_EQ(getAvailableConcurrency(fresh, true), 0u);
  CpuInfo info = before;
  EXPECT_THROW(info.refresh(), std::bad_alloc);
  EXPECT_TRUE(info == before) << "only its validity is lost";
  EXPECT_FALSE(info.detailsValid());
  for (const unsigned count : {6u, 0u}) {
    known_threads = count;
    info.refresh(std::nothrow);
    EXPECT_EQ(info.pCores(), count);
    EXPECT_EQ(info.performanceCores(), -1);
    EXPECT_EQ(info.efficiencyCores(), -1);
    EXPECT_FALSE(info.hyperthreaded() || info.frequencyAvailable() || info.detailsValid());
    EXPECT_EQ(info.frequency(), 0u);
    EXPECT_EQ(getAvailableConcurrency(info, false), count);
    EXPECT_EQ(getAvailableConcurrency(info, true), count);
    expect_record("CPU details invariants are broken; assuming fallback values");
  }
}

}  // namespace

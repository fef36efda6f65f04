// Snapshots of scripted processors.

#include <fl/system.hpp>
#include <foundation_log/control.hpp>

#include "host/log_records.hpp"
#include "host/processors.hpp"

#include <gtest/gtest.h>

#include <new>
#include <stdexcept>
#include <string>
#include <thread>

namespace {
unsigned known_threads = 6;  ///< what the C++ library says of the machine
}

unsigned std::thread::hardware_concurrency() noexcept {
  return known_threads;
}

namespace {

using namespace foundation::core::system;
using test_support::processors;
using test_support::put_core;
using test_support::put_groups;

CpuInfo refreshed() {
  CpuInfo info;
  info.refresh();
  return info;
}

class CpuInfoTest : public testing::Test {
 protected:
  CpuInfoTest() {
    processors() = {};
    processors().records = test_support::processor_records({16}, 2);
  }
};

TEST_F(CpuInfoTest, TellsAPartOfAMachineWithOneGroup) {
  const CpuInfo whole = refreshed();
  EXPECT_EQ(whole.pCores(), 8u);
  EXPECT_EQ(whole.lCores(), 16u);
  EXPECT_EQ(whole.aCores(), 16u);
  EXPECT_TRUE(whole.hyperthreaded());
  EXPECT_TRUE(whole.detailsValid());
  EXPECT_EQ(whole.performanceCores(), -1);
  EXPECT_TRUE(whole.frequencyAvailable());
  EXPECT_EQ(whole.frequency(), 3'600'000'000u);
  EXPECT_EQ(getAvailableConcurrency(whole, false), 8u);
  EXPECT_EQ(getAvailableConcurrency(whole, true), 16u);

  processors().affinity.mask = 0b1111;
  CpuInfo part = whole;
  part.refresh();
  EXPECT_EQ(part.pCores(), 8u);
  EXPECT_EQ(getAvailableConcurrency(part, false), 4u);
  EXPECT_EQ(getAvailableConcurrency(part, true), 4u);
  EXPECT_TRUE(part != whole);

  processors().affinity.mask = 0;
  EXPECT_TRUE(refreshed() == whole);
}

TEST_F(CpuInfoTest, TellsTiersByCpuSetsOrElseByCounts) {
  auto& [affinity, records, cpu_sets, failure] = processors();
  records.clear();
  for (const std::uint64_t mask : {0x003, 0x00C, 0x030, 0x0C0, 0x100, 0x200, 0x400, 0x800}) {
    put_core(records, mask);
  }
  put_groups(records, {12});
  const CpuInfo counted = refreshed();
  EXPECT_EQ(counted.performanceCores(), 4);
  EXPECT_EQ(counted.efficiencyCores(), 4);
  for (const std::uint32_t core : {0, 0, 2, 2, 4, 4, 6, 6, 8, 9, 10, 11}) {
    cpu_sets.push_back({core, core < 4});
  }
  const CpuInfo told = refreshed();
  EXPECT_EQ(told.performanceCores(), 2);
  EXPECT_EQ(told.efficiencyCores(), 6);
  EXPECT_TRUE(told == counted) << "tiers do not count";
}

/// Cores as a fallback or nobody gives them.
void expect_counts(const CpuInfo& info, unsigned long long count, unsigned long long concurrency) {
  EXPECT_EQ(info.pCores(), count);
  EXPECT_EQ(info.lCores(), count);
  EXPECT_EQ(info.aCores(), count);
  EXPECT_EQ(info.performanceCores(), -1);
  EXPECT_EQ(info.efficiencyCores(), -1);
  EXPECT_FALSE(info.hyperthreaded());
  EXPECT_FALSE(info.frequencyAvailable());
  EXPECT_EQ(info.frequency(), 0u);
  EXPECT_FALSE(info.detailsValid());
  for (const bool logical : {false, true}) {
    EXPECT_EQ(getAvailableConcurrency(info, logical), concurrency);
  }
}

TEST_F(CpuInfoTest, KeepsWhatItHadOrFallsBackIfTheSystemRefuses) {
  foundation::log::set_level("foundation::core::system::CpuInfo", foundation::log::severity::error);
  const CpuInfo before = refreshed();
  for (const auto& failure :
       {std::make_exception_ptr(std::bad_alloc()), std::make_exception_ptr(std::runtime_error("refused"))}) {
    processors().failure = failure;
    CpuInfo fresh;
    EXPECT_ANY_THROW(fresh.refresh());
    expect_counts(fresh, 0, 1);
    CpuInfo info = before;
    EXPECT_ANY_THROW(info.refresh());
    EXPECT_TRUE(info == before && info.frequencyAvailable()) << "only its validity is lost";
    EXPECT_FALSE(info.detailsValid());
    EXPECT_TRUE(test_support::drain_log_records().empty());
    for (const unsigned count : {6u, 0u}) {
      known_threads = count;
      info.refresh(std::nothrow);
      expect_counts(info, count, count);
      ASSERT_EQ(test_support::drain_log_records().at(0).text,
                "CPU details invariants are broken; assuming fallback values");
    }
  }
  processors().failure = nullptr;
  CpuInfo again;
  again.refresh(std::nothrow);
  EXPECT_TRUE(again == before && again.detailsValid());
}

}  // namespace

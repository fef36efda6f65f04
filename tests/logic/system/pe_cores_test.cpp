// Performance and efficiency cores, from scripted CPU sets and from counts.

#include "system/pe_cores.hpp"

#include "host/probe_log.hpp"
#include "processor_records.hpp"

#include <gtest/gtest.h>

#include <algorithm>
#include <cstdlib>
#include <new>
#include <ostream>
#include <stdexcept>

namespace foundation::core::system::windows {

bool operator==(const PECores& l, const PECores& r) {
  return l.efficiencyCores == r.efficiencyCores && l.performanceCores == r.performanceCores;
}

void PrintTo(const PECores& cores, std::ostream* out) {
  *out << cores.performanceCores << " performance, " << cores.efficiencyCores << " efficiency cores";
}

bool operator==(const CpuSetEntry& l, const CpuSetEntry& r) {
  return l.coreId == r.coreId && l.efficiencyClass == r.efficiencyClass;
}

}  // namespace foundation::core::system::windows

namespace {

using namespace foundation::core::system::windows;
using test_support::cpu_set_record;
using test_support::drain_complaints;
using test_support::put;
using test_support::put_cpu_set;
using test_support::record_buffer;
using complaints = std::vector<std::string>;
using entries = std::vector<CpuSetEntry>;

const PECores unknown;

int allocations_left = -1;  ///< how many succeed before one fails, or all; -1 for all
bool memory_comes_back = false;

}  // namespace

// Not inline, or the compiler takes each pair for a mismatch.
[[gnu::noinline]] void* operator new(std::size_t size) {
  const bool fails = allocations_left == 0;
  allocations_left -= allocations_left > 0 || (fails && memory_comes_back);
  if (fails) {
    throw std::bad_alloc();
  }
  if (void* const block = std::malloc(size)) {
    return block;
  }
  throw std::bad_alloc();
}

[[gnu::noinline]] void operator delete(void* block) noexcept {
  std::free(block);
}

[[gnu::noinline]] void operator delete(void* block, std::size_t) noexcept {
  std::free(block);
}

namespace {

PECores cores(int performance, int efficiency) {
  return {efficiency, performance};
}

/// Cores of these classes, the first ones with two threads.
entries cores_of_classes(const std::vector<std::uint8_t>& classes, std::size_t with_two_threads = 0) {
  entries made;
  for (std::uint32_t core = 0; core != classes.size(); ++core) {
    made.insert(made.end(), core < with_two_threads ? 2 : 1, {core, classes[core]});
  }
  return made;
}

struct scripted_cpu_set : IWindowsCpuSet {
  explicit scripted_cpu_set(entries told) : told_(std::move(told)) {}
  entries query() const override { return told_; }
  entries told_;
};

TEST(PECores, TakesTheHighestClassForPerformanceCores) {
  EXPECT_EQ(classifyCores(8, cores_of_classes({0, 0, 0, 0, 0, 0, 1, 1})), cores(2, 6));
  EXPECT_EQ(classifyCores(8, cores_of_classes({2, 2, 0, 0, 0, 0, 1, 1}, 2)), cores(2, 6));
  EXPECT_EQ(classifyCores(4, cores_of_classes({255, 255, 7, 255}, 4)), cores(3, 1));
  EXPECT_EQ(classifyCores(8, {}), unknown);
  EXPECT_EQ(classifyCores(8, cores_of_classes({3, 3, 3, 3, 3, 3, 3, 3}, 8)), unknown);
  EXPECT_EQ(classifyCores(7, cores_of_classes({1, 1}, 2)), unknown) << "one class is no reason to complain";
  EXPECT_EQ(drain_complaints(), complaints());
}

TEST(PECores, KnowsNothingFromEntriesThatContradict) {
  EXPECT_EQ(classifyCores(2, entries{{5, 1}, {6, 0}, {5, 0}, {6, 1}}), unknown);
  EXPECT_EQ(drain_complaints(), complaints{"Windows CPU-set probe: SMT siblings disagree on EfficiencyClass for "
                                           "coreId=5 (saw 1 and 0)"});
  EXPECT_EQ(classifyCores(4, cores_of_classes({1, 0, 0}, 1)), unknown);
  EXPECT_EQ(drain_complaints(), complaints{"Windows CPU-set probe: tier sum disagrees with numPhysical "
                                           "(pPhysical=1, ePhysical=2, numPhysical=4)"});
}

TEST(PECores, InfersWhatTwoThreadsOnPerformanceCoresLeave) {
  for (int physical = 0; physical <= 256; ++physical) {
    for (int logical = 0; logical <= 256; ++logical) {
      PECores expected;
      for (int performance = 1; performance < physical; ++performance) {
        if (2 * performance + (physical - performance) == logical) {
          expected = cores(performance, physical - performance);
        }
      }
      ASSERT_EQ(inferCoresFromCounts(static_cast<unsigned>(physical), static_cast<unsigned>(logical)), expected)
          << physical << " cores, " << logical << " logical processors";
    }
  }
  EXPECT_EQ(inferCoresFromCounts(8, 12), cores(4, 4));
}

TEST(PECores, PrefersCpuSetsToCounts) {
  const auto hybrid = cores_of_classes({0, 0, 0, 0, 0, 0, 1, 1});
  EXPECT_EQ(computePECores(8, 12, scripted_cpu_set(hybrid)), cores(2, 6));
  EXPECT_EQ(computePECores(8, 12, scripted_cpu_set({})), cores(4, 4));
  EXPECT_EQ(computePECores(8, 12, scripted_cpu_set(cores_of_classes({1, 1, 1, 1, 1, 1, 1, 1}))), cores(4, 4));
  EXPECT_EQ(computePECores(8, 16, scripted_cpu_set({})), unknown);
  EXPECT_EQ(computePECores(8, 8, scripted_cpu_set({})), unknown);
  EXPECT_EQ(drain_complaints(), complaints());
  EXPECT_EQ(computePECores(8, 12, scripted_cpu_set({{0, 1}, {0, 0}})), cores(4, 4));
  EXPECT_EQ(computePECores(9, 12, scripted_cpu_set(hybrid)), cores(3, 6));
  EXPECT_EQ(drain_complaints().size(), 2u);
}

TEST(PECores, GoesByTheCountsIfTheSourceFails) {
  struct : IWindowsCpuSet {
    entries query() const override { throw std::runtime_error("no entries today"); }
  } const failing;
  struct : IWindowsCpuSet {
    entries query() const override { throw 1; }
  } const failing_oddly;
  EXPECT_EQ(computePECores(8, 12, failing), cores(4, 4));
  EXPECT_EQ(computePECores(8, 12, failing_oddly), cores(4, 4));
  EXPECT_EQ(drain_complaints(),
            (complaints{"no entries today", "Windows CPU-set probe: the source of the CPU sets failed"}));
}

// The report of the shortage once took memory, which ended the process.
TEST(PECores, GoesByTheCountsWithoutMemory) {
  const scripted_cpu_set hybrid(cores_of_classes({0, 0, 0, 0, 0, 0, 1, 1}));
  for (const bool comes_back : {false, true}) {
    memory_comes_back = comes_back;
    complaints expected;  // Of what is refused: a copy of the entries, then something for each core at least.
    for (allocations_left = 0;; allocations_left = static_cast<int>(expected.size())) {
      const PECores found = computePECores(8, 12, hybrid);
      allocations_left = -1;
      if (found == cores(2, 6)) {
        break;
      }
      ASSERT_EQ(found, cores(4, 4));
      expected.push_back(expected.empty() ? std::bad_alloc().what() : "Windows CPU-set probe: no memory");
    }
    EXPECT_GT(expected.size(), 8u);
    EXPECT_EQ(drain_complaints(), comes_back ? expected : complaints());
  }
}

TEST(PECores, ReadsTheRecordsOfTheSystem) {
  record_buffer records;
  put_cpu_set(records, 3, 9);
  put(records, cpu_set_record{.type = 1, .group = 0, .logical_processor = 0, .core = 1, .efficiency_class = 1});
  put(records,
      cpu_set_record{.size = 8, .type = 77, .group = 0, .logical_processor = 0, .core = 1, .efficiency_class = 1}, 8);
  put_cpu_set(records, 255, 255, 0xFFFF);
  put_cpu_set(records, 3, 9, 1);
  EXPECT_EQ(parseCpuSets(records), (entries{{3, 9}, {0xFFFF00FF, 255}, {0x10003, 9}}))
      << "cores of different groups are different";
  EXPECT_EQ(parseCpuSets({}), entries());
  EXPECT_EQ(drain_complaints(), complaints());
}

TEST(PECores, KeepsWhatStandsBeforeADamagedRecord) {
  const std::string source = "GetSystemCpuSetInformation buffer ";
  record_buffer sound;
  for (unsigned core = 0; core != 3; ++core) {
    put_cpu_set(sound, core, core);
  }
  const entries one = {{0, 0}};
  struct damage {
    std::uint8_t size_of_second;
    std::size_t total;
    entries kept;
    std::string complaint;
  };
  for (const auto& [size, total, kept, complaint] :
       {damage{0, 96, one,
               "contained a zero-sized record at offset 32 of 96; aborting parse to avoid an infinite loop"},
        damage{7, 96, one, "contained a record of 7 bytes at offset 32 of 96, which is too short; aborting parse"},
        damage{18, 96, one, "contained a record of 18 bytes at offset 32 of 96, which is too short; aborting parse"},
        damage{65,
               96,
               {{0, 0}, {1, 1}},
               "contained a record of 65 bytes at offset 32 of 96, which reaches past the end; aborting parse"},
        damage{32, 39, one, "ended inside a record at offset 32 of 39; aborting parse"},
        damage{32, 50, one,
               "contained a record of 32 bytes at offset 32 of 50, which reaches past the end; aborting parse"},
        damage{32,
               51,
               {{0, 0}, {1, 1}},
               "contained a record of 32 bytes at offset 32 of 51, which reaches past the end; aborting parse"}}) {
    record_buffer records = sound;
    records[32] = std::byte{size};
    records.resize(total);
    EXPECT_EQ(parseCpuSets(records), kept) << complaint;
    EXPECT_EQ(drain_complaints(), complaints{source + complaint});
  }
  EXPECT_EQ(parseCpuSets({static_cast<const std::byte*>(nullptr), 32}), entries());
  EXPECT_EQ(drain_complaints(),
            complaints{source + "produced a null record pointer at offset 0 of 32; aborting parse"});
}

}  // namespace

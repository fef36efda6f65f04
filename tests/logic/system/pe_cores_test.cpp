// Performance and efficiency cores, from scripted CPU sets and from counts.

#include "system/pe_cores.hpp"

#include <foundation_log/control.hpp>

#include "every_test.hpp"
#include "host/log_records.hpp"
#include "processor_records.hpp"

namespace {
int allocations_left = -1;  ///< how many succeed before one fails, or all; -1 for all
bool memory_comes_back = false;
}  // namespace

// Not inline, or the compiler takes each pair for a mismatch. All forms in use: the sanitizer's own ones do not go with
// another's delete.
[[gnu::noinline]] void* operator new(std::size_t size, const std::nothrow_t&) noexcept {
  const bool fails = allocations_left == 0;
  allocations_left -= allocations_left > 0 || (fails && memory_comes_back);
  return fails ? nullptr : std::malloc(size);
}
[[gnu::noinline]] void* operator new(std::size_t size) {
  void* const block = operator new(size, std::nothrow);
  return block != nullptr ? block : throw std::bad_alloc();
}
[[gnu::noinline]] void operator delete(void* block) noexcept {
  std::free(block);
}
[[gnu::noinline]] void operator delete(void* block, std::size_t) noexcept {
  std::free(block);
}

namespace {

using namespace foundation::core::system::windows;
using namespace test_support;
using testing::ElementsAre;
using testing::IsEmpty;
using testing::StartsWith;
using entries = std::vector<CpuSetEntry>;

/// The numbers of performance and efficiency cores.
using tiers = std::pair<int, int>;
const tiers unknown{-1, -1};

tiers of(const PECores& cores) {
  return {cores.performanceCores, cores.efficiencyCores};
}
tiers classified(unsigned physical, const entries& told) {
  return of(classifyCores(physical, told));
}

std::vector<std::string> drain_complaints() {
  std::vector<std::string> texts;
  for (const log_record& record : drain_log_records()) {
    texts.push_back(record.text);
  }
  return texts;
}

class PECoresTest : public testing::Test {
 protected:
  PECoresTest() { foundation::log::set_level("fl::system::windows::PECores", foundation::log::severity::complaint); }
};

/// Cores of these classes, the first ones with two threads.
entries cores_of_classes(const std::vector<std::uint8_t>& classes, std::size_t with_two_threads = 0) {
  entries made;
  for (std::uint32_t core = 0; core != classes.size(); ++core) {
    made.insert(made.end(), core < with_two_threads ? 2 : 1, {core, classes[core]});
  }
  return made;
}

const entries hybrid = cores_of_classes({0, 0, 0, 0, 0, 0, 1, 1});

struct source : IWindowsCpuSet {
  explicit source(std::function<entries()> script) : query_(std::move(script)) {}
  entries query() const override { return query_(); }
  std::function<entries()> query_;
};

/// By CPU sets and by eight cores, or another number, with twelve logical processors.
tiers computed(const std::function<entries()>& query, unsigned physical = 8, unsigned logical = 12) {
  return of(computePECores(physical, logical, source(query)));
}

TEST_F(PECoresTest, TakesTheHighestClassForPerformanceCores) {
  EXPECT_EQ(classified(8, hybrid), tiers(2, 6));
  EXPECT_EQ(classified(8, cores_of_classes({2, 2, 0, 0, 0, 0, 1, 1}, 2)), tiers(2, 6));
  EXPECT_EQ(classified(4, cores_of_classes({255, 255, 7, 255}, 4)), tiers(3, 1));
  EXPECT_EQ(classified(7, cores_of_classes({1, 1}, 2)), unknown) << "one class is no reason to complain";
  EXPECT_THAT(drain_complaints(), IsEmpty());
}

TEST_F(PECoresTest, KnowsNothingFromEntriesThatContradict) {
  EXPECT_EQ(classified(2, {{5, 1}, {6, 0}, {5, 0}, {6, 1}}), unknown);
  EXPECT_THAT(drain_complaints(), ElementsAre("Windows CPU-set probe: SMT siblings disagree on EfficiencyClass for "
                                              "coreId=5 (saw 1 and 0)"));
  EXPECT_EQ(classified(4, cores_of_classes({1, 0, 0}, 1)), unknown);
  EXPECT_THAT(drain_complaints(), ElementsAre("Windows CPU-set probe: tier sum disagrees with numPhysical "
                                              "(pPhysical=1, ePhysical=2, numPhysical=4)"));
}

TEST_F(PECoresTest, InfersWhatTwoThreadsOnPerformanceCoresLeave) {
  for (int physical = 0; physical <= 64; ++physical) {
    for (int logical = 0; logical <= 64; ++logical) {
      tiers expected = unknown;
      for (int performance = 1; performance < physical; ++performance) {
        if (2 * performance + (physical - performance) == logical) {
          expected = {performance, physical - performance};
        }
      }
      ASSERT_EQ(of(inferCoresFromCounts(static_cast<unsigned>(physical), static_cast<unsigned>(logical))), expected)
          << physical << " cores, " << logical << " logical processors";
    }
  }
}

TEST_F(PECoresTest, PrefersCpuSetsToCounts) {
  EXPECT_EQ(computed([] { return hybrid; }), tiers(2, 6));
  EXPECT_EQ(computed([] { return entries(); }), tiers(4, 4));
  EXPECT_EQ(computed([] { return entries(); }, 8, 16), unknown);
  EXPECT_THAT(drain_complaints(), IsEmpty());
  EXPECT_EQ(computed([] { return hybrid; }, 9), tiers(3, 6));
  EXPECT_EQ(computed([]() -> entries { throw std::runtime_error("no entries today"); }), tiers(4, 4));
  EXPECT_EQ(computed([]() -> entries { throw 1; }), tiers(4, 4));
  EXPECT_THAT(drain_complaints(),
              ElementsAre(StartsWith("Windows CPU-set probe: tier sum disagrees"), "no entries today",
                          "Windows CPU-set probe: the source of the CPU sets failed"));
}

// The report of the shortage once took memory, which ended the process.
TEST_F(PECoresTest, GoesByTheCountsWithoutMemory) {
  for (const bool comes_back : {false, true}) {
    memory_comes_back = comes_back;
    std::vector<std::string> expected;  // Of what is refused: a copy of the entries, then something for each core.
    for (allocations_left = 0;; allocations_left = static_cast<int>(expected.size())) {
      const tiers found = computed([] { return hybrid; });
      allocations_left = -1;
      if (found == tiers(2, 6)) {
        break;
      }
      ASSERT_EQ(found, tiers(4, 4));
      expected.push_back(expected.empty() ? std::bad_alloc().what() : "Windows CPU-set probe: no memory");
    }
    EXPECT_GT(expected.size(), 8u);
    EXPECT_EQ(drain_complaints(), comes_back ? expected : std::vector<std::string>());
  }
}

TEST_F(PECoresTest, ReadsTheRecordsOfTheSystem) {
  record_buffer records;
  put_cpu_set(records, 3, 9);
  put(records, std::array<std::uint32_t, 2>{8, 1});  // of another type
  put_cpu_set(records, 3, 9, 1);
  put_cpu_set(records, 255, 255, 0xFFFF);
  const auto read = [](const record_buffer& from) {
    std::vector<std::pair<std::uint32_t, int>> told;
    for (const auto& [core, efficiency_class] : parseCpuSets(from)) {
      told.emplace_back(core, efficiency_class);
    }
    return told;
  };
  const std::pair first(3u, 9), second(0x10003u, 9), third(0xFFFF00FFu, 255);
  EXPECT_THAT(read(records), ElementsAre(first, second, third)) << "cores of different groups are different";
  EXPECT_THAT(drain_complaints(), IsEmpty());
  records.resize(72 + 19);
  EXPECT_THAT(read(records), ElementsAre(first, second, third)) << "all that is needed is there";
  records.resize(72 + 18);
  EXPECT_THAT(read(records), ElementsAre(first, second));
  const auto damaged = StartsWith("GetSystemCpuSetInformation buffer contained a record of 32 bytes at offset 72");
  EXPECT_THAT(drain_complaints(), ElementsAre(damaged, damaged));
}

}  // namespace

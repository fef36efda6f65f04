// Counting cores in scripted buffers of the system, sound and damaged.

#include "system/processor_topology.hpp"

#include "host/probe_log.hpp"
#include "processor_records.hpp"
#include "seeded_random.hpp"

#include <gtest/gtest.h>

#include <algorithm>
#include <ostream>
#include <tuple>

namespace foundation::core::system {

bool operator==(const core_counts& l, const core_counts& r) {
  return std::tie(l.processorCoreCount, l.processorLogicalCount, l.availableCoreCount, l.availableLogicalCount) ==
         std::tie(r.processorCoreCount, r.processorLogicalCount, r.availableCoreCount, r.availableLogicalCount);
}

void PrintTo(const core_counts& counts, std::ostream* out) {
  *out << counts.processorCoreCount << " cores, " << counts.processorLogicalCount << " logical, available "
       << counts.availableCoreCount << ", " << counts.availableLogicalCount;
}

}  // namespace foundation::core::system

namespace {

using namespace foundation::core::system;
using test_support::core_record;
using test_support::drain_complaints;
using test_support::group_info;
using test_support::group_record_head;
using test_support::processor_records;
using test_support::put;
using test_support::put_core;
using test_support::put_groups;
using test_support::record_buffer;
using complaints = std::vector<std::string>;

constexpr std::uint64_t all = ~std::uint64_t{0};
const process_affinity anywhere = {all, 1, {0}};

TEST(ProcessorTopology, CountsWhatTheMaskOfASingleGroupLetsThrough) {
  const record_buffer records = processor_records({16}, 2);
  EXPECT_EQ(countCores(records, anywhere), (core_counts{8, 16, 8, 16}));
  EXPECT_EQ(countCores(records, {0b0100'1101, 1, {0}}), (core_counts{8, 16, 3, 4}));
  EXPECT_EQ(countCores(records, {1ull << 20, 1, {0}}), (core_counts{8, 16, 0, 0})) << "a processor that is not there";
  EXPECT_EQ(countCores(records, {0, 1, {0}}), (core_counts{8, 16, 8, 16})) << "a mask that is not known";
  EXPECT_EQ(countCores(records, {all, 1, {}}), (core_counts{8, 16, 0, 0})) << "a process in no group";
  EXPECT_EQ(countCores(processor_records({64}, 1), anywhere), (core_counts{64, 64, 64, 64}));
}

TEST(ProcessorTopology, CountsWholeGroupsIfThereAreSeveral) {
  const record_buffer records = processor_records({48, 16}, 2);
  const core_counts machine = {32, 64, 0, 0};
  for (const std::uint64_t mask : {all, std::uint64_t{1}, std::uint64_t{0}}) {
    EXPECT_EQ(countCores(records, {mask, 2, {0}}), (core_counts{32, 64, 24, 48})) << mask;
    EXPECT_EQ(countCores(records, {mask, 2, {1}}), (core_counts{32, 64, 8, 16})) << mask;
    EXPECT_EQ(countCores(records, {mask, 2, {1, 0}}), (core_counts{32, 64, 32, 64})) << mask;
    EXPECT_EQ(countCores(records, {mask, 2, {2}}), machine) << mask;
  }
  EXPECT_EQ(countCores(processor_records({64, 64}, 2), {0, 2, {0, 1}}), (core_counts{64, 128, 64, 128}));
}

TEST(ProcessorTopology, CountsHybridProcessorsAndPassesOtherRecordsBy) {
  record_buffer records;
  put(records, core_record{.relationship = 7, .mask = all, .group = 0});
  put(records, core_record{.relationship = 0xFFFF, .size = 8, .mask = 0, .group = 0}, 8);
  put_core(records, 0b0011);
  put_core(records, 0b1100);
  put(records, core_record{.relationship = 3, .mask = all, .group = 0});
  put_core(records, 0b1'0000);
  put_core(records, 0);  // one that is parked for good
  put(records, core_record{.size = 49, .mask = 0b10'0000, .group = 0});
  records.push_back({});  // Records need not be aligned.
  put_groups(records, {6, 0});
  EXPECT_EQ(countCores(records, anywhere), (core_counts{5, 6, 4, 6}));
  EXPECT_EQ(countCores({}, anywhere), core_counts());
  EXPECT_EQ(drain_complaints(), complaints());
}

TEST(ProcessorTopology, EndsAtADamagedRecordAndSaysWhere) {
  const std::string source = "GetLogicalProcessorInformationEx buffer ";
  const record_buffer sound = processor_records({2}, 2);
  const auto total = std::to_string(sound.size());
  struct damage {
    std::size_t offset;
    std::uint8_t value;
    core_counts counts;
    std::string complaint;
  };
  for (const auto& [offset, value, counts, complaint] :
       {damage{4,
               0,
               {},
               "contained a zero-sized record at offset 0 of " + total + "; aborting parse to avoid an infinite loop"},
        damage{
            4, 7, {}, "contained a record of 7 bytes at offset 0 of " + total + ", which is too short; aborting parse"},
        damage{4,
               41,
               {},
               "contained a record of 41 bytes at offset 0 of " + total + ", which is too short; aborting parse"},
        damage{
            4,
            129,
            {1, 0, 1, 2},
            "contained a record of 129 bytes at offset 0 of " + total + ", which reaches past the end; aborting parse"},
        damage{4, 122, {1, 0, 1, 2}, "ended inside a record at offset 122 of " + total + "; aborting parse"},
        damage{52,
               79,
               {1, 0, 1, 2},
               "contained a record of 79 bytes at offset 48 of " + total + ", which is too short; aborting parse"},
        damage{58,
               2,
               {1, 0, 1, 2},
               "contained a record of 80 bytes at offset 48 of " + total + ", which is too short; aborting parse"}}) {
    record_buffer records = sound;
    records[offset] = std::byte{value};
    EXPECT_EQ(countCores(records, anywhere), counts) << complaint;
    EXPECT_EQ(drain_complaints(), complaints{source + complaint});
  }
  EXPECT_EQ(countCores({static_cast<const std::byte*>(nullptr), 8}, anywhere), core_counts());
  EXPECT_EQ(drain_complaints(), complaints{source + "produced a null record pointer at offset 0 of 8; aborting parse"});
}

/// The rule once more, in one loop over bytes.
core_counts count_slowly(const record_buffer& records, const process_affinity& affinity) {
  const auto number = [&](std::size_t at, std::size_t bytes) {
    std::uint64_t value = 0;
    while (bytes-- != 0) {
      value = value << 8 | std::to_integer<std::uint64_t>(records.at(at + bytes));
    }
    return value;
  };
  core_counts counts;
  std::size_t size = 0;
  for (std::size_t at = 0; at + 8 <= records.size() && number(at + 4, 4) >= 8; at += size) {
    size = number(at + 4, 4);
    const std::size_t there = std::min(size, records.size() - at);
    if (number(at, 4) == 0 && there < 42) {
      break;
    }
    if (number(at, 4) == 4 && (there < 32 || there < 32 + 48 * number(at + 10, 2))) {
      break;
    }
    if (number(at, 4) == 0) {
      const std::uint64_t allowed = affinity.group_count == 1 && affinity.mask != 0 ? affinity.mask : all;
      unsigned processors = 0;
      for (unsigned bit = 0; bit != 64; ++bit) {
        processors += (number(at + 32, 8) & allowed & 1ull << bit) != 0;
      }
      const bool member = std::count(affinity.groups.begin(), affinity.groups.end(), number(at + 40, 2)) != 0;
      counts.processorCoreCount += 1;
      counts.availableCoreCount += member && processors != 0;
      counts.availableLogicalCount += member ? processors : 0;
    }
    if (number(at, 4) == 4) {
      for (std::size_t group = 0; group != number(at + 10, 2); ++group) {
        counts.processorLogicalCount += number(at + 32 + 48 * group + 1, 1);
      }
    }
    if (size > there) {
      break;
    }
  }
  return counts;
}

TEST(ProcessorTopology, ReadsNothingOutsideDamagedBuffers) {
  test_support::seeded_random random;
  const record_buffer sound[] = {processor_records({16}, 2), processor_records({48, 16}, 4), processor_records({8}, 1)};
  int complained = 0;
  for (int round = 0; round != 100'000; ++round) {
    record_buffer records = random.pick(sound);
    for (auto changes = random.between(1, 4); changes != 0; --changes) {
      // Half of the changes hit what a record tells about itself.
      std::size_t at = random.below(records.size());
      if (random.chance(50)) {
        at = at / 48 * 48 + random.below(12);
      }
      if (at < records.size()) {
        records[at] = static_cast<std::byte>(random.chance(50) ? random.below(256) : random.below(64));
      }
    }
    if (random.chance(30)) {
      records.resize(random.below(records.size() + 1));
    }
    // A copy has no byte to spare, so that the sanitizer sees each one that is read behind it.
    const record_buffer exact(records.begin(), records.end());
    const process_affinity affinity = {
        random.chance(50) ? all : random.bits(), random.chance(50) ? std::uint16_t{1} : std::uint16_t{2}, {0}};
    ASSERT_EQ(countCores(exact, affinity), count_slowly(exact, affinity)) << "round " << round;
    complained += drain_complaints().size() == 1;
  }
  EXPECT_GT(complained, 20'000);
}

}  // namespace

// Counting cores in scripted buffers of the system, sound and damaged.

#include "system/processor_topology.hpp"

#include <foundation_log/control.hpp>

#include "every_test.hpp"
#include "host/log_records.hpp"
#include "seeded_random.hpp"
#include "slow_core_count.hpp"

namespace {

using namespace foundation::core::system;
using namespace test_support;
using testing::ElementsAre;
using testing::IsEmpty;

constexpr std::uint64_t all = ~std::uint64_t{0};
const process_affinity anywhere = {all, 1, {0}};

counts count(byte_range records, const process_affinity& affinity) {
  const core_counts told = countCores(records, affinity);
  return {told.processorCoreCount, told.processorLogicalCount, told.availableCoreCount, told.availableLogicalCount};
}

std::vector<std::string> complaints;

TEST(RecordWalk, EndsAtADamagedRecordAndSaysWhere) {
  const record_source source = {"Call", 0, [](std::string_view text) noexcept { complaints.emplace_back(text); }};
  const struct {
    std::uint32_t size_of_second;
    std::size_t total;
    std::vector<std::size_t> visited;  ///< sizes
    std::string complaint;
  } cases[] = {
      {0, 48, {16}, "contained a zero-sized record at offset 16 of 48"},
      {7, 48, {16}, "contained a record of 7 bytes at offset 16 of 48, which is too short"},
      {11, 48, {16, 11}, "contained a record of 11 bytes at offset 16 of 48, which is too short"},
      {33, 48, {16, 32}, "contained a record of 33 bytes at offset 16 of 48, which reaches past the end"},
      {9, 24, {16, 8}, "contained a record of 9 bytes at offset 16 of 24, which reaches past the end"},
      {16, 23, {16}, "ended inside a record at offset 16 of 23"},
  };
  for (const auto& [size_of_second, total, expected, complaint] : cases) {
    record_buffer records;
    for (const std::uint32_t size : {16u, size_of_second, 16u}) {
      put(records, std::array<std::uint32_t, 4>{size});
    }
    records.resize(total);
    std::vector<std::size_t> visited;
    walkRecords(source, records, [&](byte_range record) {
      visited.push_back(record.size());
      return record.size() >= 12;
    });
    EXPECT_EQ(visited, expected) << complaint;
    EXPECT_THAT(std::exchange(complaints, {}), ElementsAre(testing::StartsWith("Call buffer " + complaint)));
  }
  walkRecords(source, {static_cast<const std::byte*>(nullptr), 8}, [](byte_range) { return false; });
  EXPECT_THAT(complaints, ElementsAre("Call buffer produced a null record pointer at offset 0 of 8; aborting parse"));
}

class ProcessorTopology : public testing::Test {
 protected:
  ProcessorTopology() {
    foundation::log::set_level("foundation::core::system::CpuInfo", foundation::log::severity::complaint);
  }
};

TEST_F(ProcessorTopology, CountsByTheRuleAndReadsNothingOutsideDamagedBuffers) {
  seeded_random random;
  record_buffer sound[] = {processor_records({16}, 2), processor_records({48, 16}, 4), processor_records({8}, 1)};
  put_core(sound[2], all, 0, 7, 49);  // of a kind that nobody counts
  sound[2].push_back({});             // Records need not be aligned.
  put_core(sound[2], 0);              // one that is parked for good
  put_core(sound[2], all, 1);
  EXPECT_EQ(count(sound[2], anywhere), (counts{10, 8, 8, 8}));
  EXPECT_THAT(drain_log_records(), IsEmpty());
  const std::uint64_t masks[] = {all, 0, 1ull << 20, 0b0100'1101, random.bits()};  // 0: not known
  const std::vector<std::uint16_t> groups[] = {{0}, {1, 0}, {2}, {}};
  int complained = 0;
  for (int round = 0; round != 50'000; ++round) {
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
    const process_affinity affinity = {random.pick(masks), random.chance(50) ? std::uint16_t{1} : std::uint16_t{2},
                                       random.pick(groups)};
    ASSERT_EQ(count(exact, affinity), count_slowly(exact, affinity)) << "round " << round;
    const auto told = drain_log_records();
    ASSERT_LE(told.size(), 1u);
    complained += told.size() == 1 && told[0].text.starts_with("GetLogicalProcessorInformationEx buffer ");
  }
  EXPECT_GT(complained, 10'000);
}

}  // namespace

// What the system tells of its processors, in buffers of any content that end where their memory ends: counts as in a
// loop over bytes, and nothing is read outside.
#include "fuzzing.hpp"
#include "slow_core_count.hpp"
#include "system/pe_cores.hpp"

#include <map>

namespace {

using namespace foundation::core::system;
using test_support::number_at;
using test_support::record_buffer;

std::vector<windows::CpuSetEntry> slowly_parsed(const record_buffer& records) {
  std::vector<windows::CpuSetEntry> entries;
  std::size_t size = 0;
  for (std::size_t at = 0; at + 8 <= records.size() && number_at(records, at, 4) >= 8; at += size) {
    size = number_at(records, at, 4);
    const std::size_t there = std::min(size, records.size() - at);
    const bool is_cpu_set = number_at(records, at + 4, 4) == 0;
    if (is_cpu_set && there >= 19) {
      entries.push_back(
          {static_cast<std::uint32_t>(number_at(records, at + 12, 2) << 16 | number_at(records, at + 15, 1)),
           static_cast<std::uint8_t>(number_at(records, at + 18, 1))});
    }
    if (size > there || (is_cpu_set && there < 19)) {
      break;
    }
  }
  return entries;
}

/// All cores of all classes, those of the highest one apart.
void check_classes(const std::vector<windows::CpuSetEntry>& entries) {
  std::map<std::uint32_t, std::uint8_t> classes;
  bool is_sound = true;
  int highest = -1, of_highest = 0;
  for (const auto& [core, efficiency_class] : entries) {
    is_sound &= classes.emplace(core, efficiency_class).first->second == efficiency_class;
    highest = std::max<int>(highest, efficiency_class);
  }
  for (const auto& [core, efficiency_class] : classes) {
    of_highest += efficiency_class == highest;
  }
  const int others = static_cast<int>(classes.size()) - of_highest;
  const auto made = windows::classifyCores(classes.size(), entries);
  fuzzing::require(made.performanceCores == (is_sound && others != 0 ? of_highest : -1));
  fuzzing::require(made.efficiencyCores == (is_sound && others != 0 ? others : -1));
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  fuzzing::input in(data, size);
  process_affinity affinity{in.ConsumeIntegral<std::uint64_t>(), in.ConsumeIntegralInRange<std::uint16_t>(1, 2), {0}};
  affinity.groups.push_back(in.ConsumeIntegral<std::uint16_t>());
  const auto bytes = in.ConsumeRemainingBytes<std::uint8_t>();
  const auto begin = reinterpret_cast<const std::byte*>(bytes.data());
  const record_buffer exact(begin, begin + bytes.size());
  const core_counts made = countCores(exact, affinity);
  fuzzing::require(test_support::counts{made.processorCoreCount, made.processorLogicalCount, made.availableCoreCount,
                                        made.availableLogicalCount} == test_support::count_slowly(exact, affinity));
  const auto entries = windows::parseCpuSets(exact), expected = slowly_parsed(exact);
  fuzzing::require(std::equal(entries.begin(), entries.end(), expected.begin(), expected.end(), [](auto& l, auto& r) {
    return l.coreId == r.coreId && l.efficiencyClass == r.efficiencyClass;
  }));
  check_classes(entries);
  return 0;
}

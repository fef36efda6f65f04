#include "system/processor_topology.hpp"

#include "system/probe_log.hpp"

#include <algorithm>
#include <bit>

namespace foundation::core::system {

namespace {

constexpr record_source source = {"GetLogicalProcessorInformationEx", topology_record::size, complainAboutTopology};

bool addCore(core_counts& counts, byte_range record, const process_affinity& affinity) {
  if (record.size() < topology_record::core_end) {
    return false;
  }
  ++counts.processorCoreCount;
  auto mask = read<std::uint64_t>(record, topology_record::core_mask);
  if (affinity.group_count == 1 && affinity.mask != 0) {
    mask &= affinity.mask;
  }
  const auto group = read<std::uint16_t>(record, topology_record::core_group);
  if (mask != 0 && std::find(affinity.groups.begin(), affinity.groups.end(), group) != affinity.groups.end()) {
    ++counts.availableCoreCount;
    counts.availableLogicalCount += static_cast<unsigned>(std::popcount(mask));
  }
  return true;
}

bool addGroups(core_counts& counts, byte_range record) {
  using namespace topology_record;
  if (record.size() < group_info) {
    return false;
  }
  const std::size_t count = read<std::uint16_t>(record, active_group_count);
  if ((record.size() - group_info) / group_info_size < count) {
    return false;
  }
  for (std::size_t i = 0; i != count; ++i) {
    counts.processorLogicalCount +=
        read<std::uint8_t>(record, group_info + i * group_info_size + active_processor_count);
  }
  return true;
}

}  // namespace

core_counts countCores(byte_range records, const process_affinity& affinity) {
  core_counts counts;
  walkRecords(source, records, [&](byte_range record) {
    switch (read<std::uint32_t>(record, topology_record::relationship)) {
      case topology_record::processor_core:
        return addCore(counts, record, affinity);
      case topology_record::group:
        return addGroups(counts, record);
      default:
        return true;
    }
  });
  return counts;
}

}  // namespace foundation::core::system

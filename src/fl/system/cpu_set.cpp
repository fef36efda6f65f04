#include "system/cpu_set.hpp"

#include "system/probe_log.hpp"

namespace foundation::core::system::windows {

namespace {

constexpr record_source source_of_records = {"GetSystemCpuSetInformation", cpu_set_record::size, complainAboutTiers};

}  // namespace

IWindowsCpuSet::~IWindowsCpuSet() = default;

std::vector<CpuSetEntry> parseCpuSets(byte_range buffer) {
  std::vector<CpuSetEntry> entries;
  walkRecords(source_of_records, buffer, [&](byte_range record) {
    if (read<std::uint32_t>(record, cpu_set_record::type) != cpu_set_record::cpu_set_information) {
      return true;
    }
    if (record.size() < cpu_set_record::end) {
      return false;
    }
    const std::uint32_t group = read<std::uint16_t>(record, cpu_set_record::group);
    entries.push_back({group << 16 | read<std::uint8_t>(record, cpu_set_record::core_index),
                       read<std::uint8_t>(record, cpu_set_record::efficiency_class)});
    return true;
  });
  return entries;
}

}  // namespace foundation::core::system::windows

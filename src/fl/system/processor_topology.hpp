// Counts cores and logical processors in the records of GetLogicalProcessorInformationEx. Pure, apart from complaints
// about damaged buffers.
#pragma once

#include "system/record_walk.hpp"

#include <cstdint>
#include <vector>

namespace foundation::core::system {

/// Where this process may run.
struct process_affinity {
  std::uint64_t mask;                 ///< of logical processors, in a system of one group; 0 if it is not known
  std::uint16_t group_count;          ///< how many groups of processors the system has
  std::vector<std::uint16_t> groups;  ///< those that the process is in
};

struct core_counts {
  unsigned long long processorCoreCount = 0;     ///< cores of the machine
  unsigned long long processorLogicalCount = 0;  ///< logical processors of the machine
  unsigned long long availableCoreCount = 0;     ///< cores with a logical processor that the process may run on
  unsigned long long availableLogicalCount = 0;  ///< logical processors that the process may run on
};

/// `records`: SYSTEM_LOGICAL_PROCESSOR_INFORMATION_EX. In a system of several groups it only counts which groups the
/// process is in, since a mask covers one group. Throws `std::bad_alloc`.
core_counts countCores(byte_range records, const process_affinity& affinity);

/// The layout of the records, in bytes; windows/processor_query.cpp compares it with the system's.
namespace topology_record {
inline constexpr std::size_t relationship = 0;  ///< 32 bits
inline constexpr std::size_t size = 4;          ///< 32 bits

inline constexpr std::uint32_t processor_core = 0;
inline constexpr std::size_t core_mask = 32;   ///< 64 bits, of the first group
inline constexpr std::size_t core_group = 40;  ///< 16 bits, the first group's number
inline constexpr std::size_t core_end = 42;

inline constexpr std::uint32_t group = 4;
inline constexpr std::size_t active_group_count = 10;  ///< 16 bits
inline constexpr std::size_t group_info = 32;          ///< of the first group
inline constexpr std::size_t group_info_size = 48;
inline constexpr std::size_t active_processor_count = 1;  ///< 8 bits, inside the information of a group
}  // namespace topology_record

}  // namespace foundation::core::system

// Buffers as GetLogicalProcessorInformationEx and GetSystemCpuSetInformation fill them, for scripted processors. The
// structures are the documented ones, written down here, so that the tests run on every system.
#pragma once

#include <cstddef>
#include <cstdint>
#include <cstring>
#include <vector>

namespace test_support {

using record_buffer = std::vector<std::byte>;

struct core_record {
  std::uint32_t relationship = 0;
  std::uint32_t size = 48;
  std::uint8_t flags = 0;
  std::uint8_t efficiency_class = 0;
  std::uint8_t reserved[20] = {};
  std::uint16_t group_count = 1;
  std::uint64_t mask;
  std::uint16_t group;
  std::uint16_t reserved_too[3] = {};
};
static_assert(sizeof(core_record) == 48);

struct group_record_head {
  std::uint32_t relationship = 4;
  std::uint32_t size;
  std::uint16_t maximum_groups;
  std::uint16_t active_groups;
  std::uint8_t reserved[20] = {};
};
static_assert(sizeof(group_record_head) == 32);

struct group_info {
  std::uint8_t maximum_processors;
  std::uint8_t active_processors;
  std::uint8_t reserved[38] = {};
  std::uint64_t active_mask;
};
static_assert(sizeof(group_info) == 48);

struct cpu_set_record {
  std::uint32_t size = 32;
  std::uint32_t type = 0;
  std::uint32_t id = 0x100;
  std::uint16_t group;
  std::uint8_t logical_processor;
  std::uint8_t core;
  std::uint8_t last_level_cache = 0;
  std::uint8_t numa_node = 0;
  std::uint8_t efficiency_class;
  std::uint8_t flags = 0;
  std::uint32_t reserved = 0;
  std::uint64_t allocation_tag = 0;
};
static_assert(sizeof(cpu_set_record) == 32);

/// Appends the first `size` bytes of a structure.
template <class Record>
void put(record_buffer& buffer, const Record& record, std::size_t size = sizeof(Record)) {
  const std::size_t end = buffer.size();
  buffer.resize(end + size);
  std::memcpy(buffer.data() + end, &record, size);
}

inline void put_core(record_buffer& buffer, std::uint64_t mask, std::uint16_t group = 0) {
  core_record record{.mask = mask, .group = group};
  put(buffer, record);
}

/// One record for all groups. Each has room for 64 processors.
inline void put_groups(record_buffer& buffer, const std::vector<std::uint8_t>& active_processors) {
  const auto count = static_cast<std::uint16_t>(active_processors.size());
  const auto size = static_cast<std::uint32_t>(sizeof(group_record_head) + count * sizeof(group_info));
  put(buffer, group_record_head{.size = size, .maximum_groups = count, .active_groups = count});
  for (const std::uint8_t active : active_processors) {
    put(buffer, group_info{.maximum_processors = 64,
                           .active_processors = active,
                           .active_mask = active >= 64 ? ~0ull : (1ull << active) - 1});
  }
}

/// What a processor of `groups` tells: in each group cores of `threads` logical processors each.
inline record_buffer processor_records(const std::vector<std::uint8_t>& groups, unsigned threads) {
  record_buffer buffer;
  for (std::uint16_t group = 0; group != groups.size(); ++group) {
    for (unsigned first = 0; first != groups[group]; first += threads) {
      put_core(buffer, ((1ull << threads) - 1) << first, group);
    }
  }
  put_groups(buffer, groups);
  return buffer;
}

/// One logical processor.
inline void put_cpu_set(record_buffer& buffer, unsigned core, unsigned efficiency_class, unsigned group = 0) {
  put(buffer, cpu_set_record{.group = static_cast<std::uint16_t>(group),
                             .logical_processor = static_cast<std::uint8_t>(buffer.size() / sizeof(cpu_set_record)),
                             .core = static_cast<std::uint8_t>(core),
                             .efficiency_class = static_cast<std::uint8_t>(efficiency_class)});
}

}  // namespace test_support

// Buffers as GetLogicalProcessorInformationEx and GetSystemCpuSetInformation fill them, for scripted processors. The
// records are the documented ones, written down here in words of 32 bits, so that the tests run on every system.
#pragma once

#include <array>
#include <cstddef>
#include <cstdint>
#include <cstring>
#include <vector>

namespace test_support {

using record_buffer = std::vector<std::byte>;

/// Appends the first `size` bytes of a record.
template <std::size_t Words>
void put(record_buffer& buffer, const std::array<std::uint32_t, Words>& record, std::size_t size = Words * 4) {
  buffer.resize(buffer.size() + size);
  std::memcpy(buffer.data() + buffer.size() - size, record.data(), size);
}

/// Relationship and size, 22 bytes of no interest, the number of masks, and a mask with its group.
inline void put_core(record_buffer& buffer, std::uint64_t mask, std::uint32_t group = 0, std::uint32_t relationship = 0,
                     std::uint32_t size = 48) {
  const auto low = static_cast<std::uint32_t>(mask), high = static_cast<std::uint32_t>(mask >> 32);
  put(buffer, std::array<std::uint32_t, 12>{relationship, size, 0, 0, 0, 0, 0, 1 << 16, low, high, group});
}

/// One record for all groups: how many there can be and are; then of each, behind a head of 32 bytes, how many
/// processors it can have and has, and their mask. Each has room for 64.
inline void put_groups(record_buffer& buffer, const std::vector<std::uint8_t>& active_processors) {
  const auto count = static_cast<std::uint32_t>(active_processors.size());
  put(buffer, std::array<std::uint32_t, 8>{4, 32 + count * 48, count << 16 | count});
  for (const std::uint32_t active : active_processors) {
    put(buffer, std::array<std::uint32_t, 12>{active << 8 | 64});
  }
}

/// What a processor of `groups` tells: in each group cores of `threads` logical processors each.
inline record_buffer processor_records(const std::vector<std::uint8_t>& groups, unsigned threads) {
  record_buffer buffer;
  for (std::uint32_t group = 0; group != groups.size(); ++group) {
    for (unsigned first = 0; first != groups[group]; first += threads) {
      put_core(buffer, ((1ull << threads) - 1) << first, group);
    }
  }
  put_groups(buffer, groups);
  return buffer;
}

/// One logical processor: size, type and number, its group, its number there and its core, and the core's class.
inline void put_cpu_set(record_buffer& buffer, std::uint32_t core, std::uint32_t efficiency_class,
                        std::uint32_t group = 0) {
  put(buffer, std::array<std::uint32_t, 8>{32, 0, 0x100, core << 24 | group, efficiency_class << 16});
}

}  // namespace test_support

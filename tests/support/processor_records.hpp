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

template <std::size_t Words>
void put(record_buffer& buffer, const std::array<std::uint32_t, Words>& record) {
  buffer.resize(buffer.size() + sizeof record);
  std::memcpy(buffer.data() + buffer.size() - sizeof record, record.data(), sizeof record);
}

/// Relationship and size, 22 bytes of no interest, the number of masks, and a mask with its group.
inline void put_core(record_buffer& buffer, std::uint64_t mask, std::uint32_t group = 0, std::uint32_t relationship = 0,
                     std::uint32_t size = 48) {
  const auto low = static_cast<std::uint32_t>(mask), high = static_cast<std::uint32_t>(mask >> 32);
  put(buffer, std::array<std::uint32_t, 12>{relationship, size, 0, 0, 0, 0, 0, 1 << 16, low, high, group});
}

/// What a processor of `groups` tells: in each group cores of `threads` logical processors each. Then comes one record
/// for all groups: how many there can be and are; of each, behind a head of 32 bytes, how many processors it can have,
/// which is 64, and has, and their mask.
inline record_buffer processor_records(const std::vector<std::uint8_t>& groups, unsigned threads) {
  record_buffer buffer;
  for (std::uint32_t group = 0; group != groups.size(); ++group) {
    for (unsigned first = 0; first != groups[group]; first += threads) {
      put_core(buffer, ((1ull << threads) - 1) << first, group);
    }
  }
  const auto count = static_cast<std::uint32_t>(groups.size());
  put(buffer, std::array<std::uint32_t, 8>{4, 32 + count * 48, count << 16 | count});
  for (const std::uint32_t active : groups) {
    put(buffer, std::array<std::uint32_t, 12>{active << 8 | 64});
  }
  return buffer;
}

/// One logical processor: size, type and number, its group, its number there and its core, and the core's class.
inline void put_cpu_set(record_buffer& buffer, std::uint32_t core, std::uint32_t efficiency_class,
                        std::uint32_t group = 0) {
  put(buffer, std::array<std::uint32_t, 8>{32, 0, 0x100, core << 24 | group, efficiency_class << 16});
}

}  // namespace test_support

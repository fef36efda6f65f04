// The counting of cores once more, in one loop over bytes: the oracle of system/processor_topology.hpp.
#pragma once

#include "processor_records.hpp"
#include "system/processor_topology.hpp"

#include <algorithm>
#include <array>

namespace test_support {

/// Cores and logical processors of the machine, then those that the process may use.
using counts = std::array<unsigned long long, 4>;

inline std::uint64_t number_at(const record_buffer& records, std::size_t at, std::size_t bytes) {
  std::uint64_t value = 0;
  while (bytes-- != 0) {
    value = value << 8 | std::to_integer<std::uint64_t>(records.at(at + bytes));
  }
  return value;
}

inline counts count_slowly(const record_buffer& records, const foundation::core::system::process_affinity& affinity) {
  const auto number = [&](std::size_t at, std::size_t bytes) { return number_at(records, at, bytes); };
  counts counted{};
  std::size_t size = 0;
  for (std::size_t at = 0; at + 8 <= records.size() && number(at + 4, 4) >= 8; at += size) {
    size = number(at + 4, 4);
    const std::size_t there = std::min(size, records.size() - at);
    if (number(at, 4) == 0 && there >= 42) {
      const std::uint64_t allowed = affinity.group_count == 1 && affinity.mask != 0 ? affinity.mask : ~std::uint64_t{0};
      const bool member = std::count(affinity.groups.begin(), affinity.groups.end(), number(at + 40, 2)) != 0;
      const int processors = member ? __builtin_popcountll(number(at + 32, 8) & allowed) : 0;
      counted[0] += 1;
      counted[2] += processors != 0;
      counted[3] += static_cast<unsigned>(processors);
    } else if (number(at, 4) == 4 && there >= 32 && there >= 32 + 48 * number(at + 10, 2)) {
      for (std::size_t group = 0; group != number(at + 10, 2); ++group) {
        counted[1] += number(at + 32 + 48 * group + 1, 1);
      }
    } else if (number(at, 4) == 0 || number(at, 4) == 4) {
      break;
    }
    if (size > there) {
      break;
    }
  }
  return counted;
}

}  // namespace test_support

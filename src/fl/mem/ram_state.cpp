#include <fl/mem/ram_state.hpp>

#include "mem/physical_memory.hpp"

#include <algorithm>
#include <cmath>

namespace foundation::core::mem {

RamState::RamState() {
  const physical_memory memory = get_physical_memory();
  total_ = memory.total;
  available_ = memory.available;
}

RamState::RamState(const RamState& other) noexcept = default;

RamState& RamState::operator=(const RamState& other) noexcept = default;

std::size_t RamState::get_total_ram() const {
  return total_;
}

std::size_t RamState::get_available_ram() const {
  return available_;
}

int RamState::get_memory_pressure() const {
  return static_cast<int>(100 * std::exp(-3 * static_cast<double>(available_) / static_cast<double>(total_)));
}

std::size_t RamState::get_max_advised_allocation(int pressure) const {
  const double share = std::log(std::clamp(pressure, 1, 100) / 100.0) / -3.0;
  const auto reserve = static_cast<std::uint64_t>(share * static_cast<double>(total_));
  return available_ > reserve ? available_ - reserve : 0;
}

}  // namespace foundation::core::mem

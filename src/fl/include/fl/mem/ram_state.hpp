// How much physical memory there is, and advice on how much of it to use:
//
//     const foundation::core::mem::RamState ram;
//     const std::size_t cache = ram.get_max_advised_allocation(50);  // leaves a pressure of at most 50
//
// Pressure is a percentage on an exponential scale of the free share of memory, 100 * exp(-3 * available / total): 4
// with all memory free, 22 with half of it, 100 with none.
//
// Thread safety: a plain value.
#pragma once

#include <fl/export.hpp>

#include <cstddef>
#include <cstdint>

namespace foundation::core::mem {

/// Physical memory at one moment, that of the construction.
class FL_API RamState {
 public:
  /// Asks the system. Throws `boost::system::system_error`, which is also an `except::IInternalException`.
  RamState();
  RamState(const RamState& other) noexcept;
  RamState& operator=(const RamState& other) noexcept;

  /// Physical memory, in bytes.
  std::size_t get_total_ram() const;
  /// Physical memory that is free, in bytes.
  std::size_t get_available_ram() const;
  /// 4 to 100, rounded down.
  int get_memory_pressure() const;
  /// How many bytes may be allocated so that the pressure afterwards is at most `pressure`: 1 to 100, and what lies
  /// outside counts as the nearer end. 0 if the pressure is higher already.
  std::size_t get_max_advised_allocation(int pressure) const;

 private:
  std::uint64_t total_;      ///< in bytes
  std::uint64_t available_;  ///< in bytes
};

}  // namespace foundation::core::mem

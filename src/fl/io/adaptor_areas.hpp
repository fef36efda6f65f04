// How large the areas of an adaptor are: room for what conversions usually give. One that gives more takes several
// passes.
#pragma once

#include <algorithm>
#include <cstddef>

namespace foundation::core::io::detail {

/// `From` is what the user of the adaptor sees, `To` what the buffer beneath accepts and gives.
template <class From, class To>
struct adaptor_areas;

template <>
struct adaptor_areas<char, char> {
  static constexpr std::size_t of_write(std::size_t units) noexcept { return 4 * units; }
  static constexpr std::size_t of_refill = 4096;  ///< in bytes
};

template <>
struct adaptor_areas<char, char16_t> {
  static constexpr std::size_t of_write(std::size_t units) noexcept { return 2 * units; }
  static constexpr std::size_t of_refill = 5120;
};

template <>
struct adaptor_areas<char16_t, char> {
  static constexpr std::size_t of_write(std::size_t units) noexcept { return std::max<std::size_t>(5 * units, 25); }
  static constexpr std::size_t of_refill = 4096;
};

}  // namespace foundation::core::io::detail

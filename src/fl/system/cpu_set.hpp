// The system's CPU sets: which core each logical processor belongs to, and of which class that core is.
//
// Nothing here fails: what cannot be found out is left out, and the log says why.
//
// Thread safety: no state, apart from the log.
#pragma once

#include "system/record_walk.hpp"

#include <cstddef>
#include <cstdint>
#include <vector>

namespace foundation::core::system::windows {

/// A logical processor.
struct CpuSetEntry {
  std::uint32_t coreId;          ///< the core that it belongs to: equal for its siblings, different for other cores
  std::uint8_t efficiencyClass;  ///< greater is faster, and draws more power
};

/// Where the entries come from.
class IWindowsCpuSet {
 public:
  virtual ~IWindowsCpuSet();
  virtual std::vector<CpuSetEntry> query() const = 0;
};

/// The system. `query` is implemented in windows/cpu_set.cpp.
class WindowsCpuSetActual : public IWindowsCpuSet {
 public:
  /// What can be found out; empty if the system refuses. Throws nothing but `std::bad_alloc`.
  std::vector<CpuSetEntry> query() const override;
};

/// The entries of a buffer of SYSTEM_CPU_SET_INFORMATION. Throws `std::bad_alloc`.
std::vector<CpuSetEntry> parseCpuSets(byte_range buffer);

/// The layout of the system's records, in bytes.
namespace cpu_set_record {
inline constexpr std::size_t size = 0;  ///< 32 bits
inline constexpr std::size_t type = 4;  ///< 32 bits
inline constexpr std::uint32_t cpu_set_information = 0;
inline constexpr std::size_t group = 12;             ///< 16 bits
inline constexpr std::size_t core_index = 15;        ///< 8 bits
inline constexpr std::size_t efficiency_class = 18;  ///< 8 bits
inline constexpr std::size_t end = 19;
}  // namespace cpu_set_record

}  // namespace foundation::core::system::windows

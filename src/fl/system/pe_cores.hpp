// Performance and efficiency cores of a hybrid processor. The system's CPU sets tell of each logical processor to which
// core it belongs and which class the core has; where they give no answer, the numbers of cores and of logical
// processors may: performance cores run two threads and efficiency cores one.
//
// Nothing here fails: what cannot be found out is unknown, and the log says why.
//
// Thread safety: pure functions, apart from the log.
#pragma once

#include "system/record_walk.hpp"

#include <cstdint>
#include <span>
#include <vector>

namespace foundation::core::system::windows {

/// A logical processor.
struct CpuSetEntry {
  std::uint32_t coreId;          ///< the core that it belongs to: equal for its siblings, different for other cores
  std::uint8_t efficiencyClass;  ///< greater is faster, and draws more power
};

struct PECores {
  std::int32_t efficiencyCores = -1;   ///< -1 if unknown, and also if all cores are of one kind
  std::int32_t performanceCores = -1;  ///< as above
};

/// Where the entries come from.
class IWindowsCpuSet {
 public:
  virtual ~IWindowsCpuSet();
  virtual std::vector<CpuSetEntry> query() const = 0;
};

/// The system. Implemented in windows/cpu_set.cpp.
class WindowsCpuSetActual : public IWindowsCpuSet {
 public:
  /// What can be found out; empty if the system refuses. Throws nothing but `std::bad_alloc`.
  std::vector<CpuSetEntry> query() const override;
};

/// The entries of a buffer of SYSTEM_CPU_SET_INFORMATION. Throws `std::bad_alloc`.
std::vector<CpuSetEntry> parseCpuSets(byte_range buffer);

/// Performance cores are those of the highest class, all others are efficiency cores. Unknown if there are fewer than
/// two classes, or the entries contradict themselves or `numPhysical`, the number of cores.
PECores classifyCores(unsigned long long numPhysical, std::span<const CpuSetEntry> entries) noexcept;

/// What the numbers of cores and logical processors tell. Unknown if no core has two threads, or all have.
PECores inferCoresFromCounts(unsigned long long numPhysical, unsigned long long numLogical) noexcept;

/// By the entries of `source`, or else by the numbers.
PECores computePECores(unsigned long long numPhysical, unsigned long long numLogical,
                       const IWindowsCpuSet& source) noexcept;

/// The same with the system as the source. Implemented in windows/cpu_set.cpp.
PECores computePECores(unsigned long long numPhysical, unsigned long long numLogical) noexcept;

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

// Performance and efficiency cores of a hybrid processor. The system's CPU sets (cpu_set.hpp) name the core of each
// logical processor and the core's class; where they give no answer, the numbers of cores and of logical processors
// may: performance cores run two threads and efficiency cores one.
//
// Nothing here fails: what cannot be found out is unknown, and the log says why.
//
// Thread safety: pure functions, apart from the log.
#pragma once

#include "system/cpu_set.hpp"

#include <cstdint>
#include <span>

namespace foundation::core::system::windows {

struct PECores {
  std::int32_t efficiencyCores = -1;   ///< -1 if unknown, and also if all cores are of one kind
  std::int32_t performanceCores = -1;  ///< as above
};

/// Performance cores are those of the highest class, all others are efficiency cores. Unknown if there are fewer than
/// two classes, or the entries contradict themselves or `numPhysical`, the number of cores.
PECores classifyCores(unsigned long long numPhysical, std::span<const CpuSetEntry> entries) noexcept;

/// What follows from the numbers of cores and logical processors. Unknown if no core has two threads, or all have.
PECores inferCoresFromCounts(unsigned long long numPhysical, unsigned long long numLogical) noexcept;

/// By the entries of `source`, or else by the numbers.
PECores computePECores(unsigned long long numPhysical, unsigned long long numLogical,
                       const IWindowsCpuSet& source) noexcept;

/// The same with the system as the source.
PECores computePECores(unsigned long long numPhysical, unsigned long long numLogical) noexcept;

}  // namespace foundation::core::system::windows

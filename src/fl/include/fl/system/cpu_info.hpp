// What the machine offers to this process: cores, logical processors, the share of them that the process may use,
// performance and efficiency cores, the maximum frequency, and the instruction set:
//
//     foundation::core::system::CpuInfo info;
//     info.refresh(std::nothrow);
//     const auto threads = foundation::core::system::getAvailableConcurrency(info, true);
//
// A snapshot: it changes with `refresh` only, and each refresh sees the current affinity of the process.
//
// Thread safety: a plain value; `refresh` writes.
#pragma once

#include <fl/export.hpp>
#include <fl/system/instruction_set.hpp>

#include <new>

namespace foundation::core::system {

namespace detail {

/// What a refresh finds out. The members are those of CpuInfo.
struct details {
  unsigned long long frequency = 0;  ///< in Hz
  unsigned long long pCores = 0;
  unsigned long long lCores = 0;
  unsigned long long aCores = 0;
  int performanceCores = -1;
  int efficiencyCores = -1;
  bool hyperthreaded = false;
  bool frequencyAvailable = false;
};

}  // namespace detail

/// What the machine offers to this process, as of the last refresh.
class CpuInfo {
 public:
  /// Reads the instruction set. The counts and the frequency are 0 and the tiers unknown until a `refresh`. Throws
  /// `std::bad_alloc`.
  CpuInfo() = default;

  /// Asks the system. If it refuses to list the cores, throws `boost::system::system_error`, which is also an
  /// `except::IInternalException`, or `std::bad_alloc`; the object then keeps what it had, but is no longer valid. A
  /// frequency or tiers that cannot be found out are no failure.
  FL_API void refresh();
  /// The same, but if it fails, all three counts become `std::thread::hardware_concurrency()` (which may be 0), the
  /// tiers and the frequency are unknown, and `detailsValid` is false. `getMaximumProcessorFrequency` gives the
  /// frequency also then.
  FL_API void refresh(const std::nothrow_t&) noexcept;

  /// What the processor can do.
  const x86_64::InstructionSet& instructionSet() const noexcept { return instructionSet_; }
  /// Maximum frequency of the processor in Hz; 0 if it is not known.
  unsigned long long frequency() const noexcept { return details_.frequency; }
  /// Physical cores of the machine.
  unsigned long long pCores() const noexcept { return details_.pCores; }
  /// Logical processors of the machine.
  unsigned long long lCores() const noexcept { return details_.lCores; }
  /// Logical processors that this process may run on.
  unsigned long long aCores() const noexcept { return details_.aCores; }
  /// Cores of the fastest kind; -1 if that is unknown or all cores are of one kind.
  int performanceCores() const noexcept { return details_.performanceCores; }
  /// Cores of all other kinds; -1 if that is unknown or all cores are of one kind.
  int efficiencyCores() const noexcept { return details_.efficiencyCores; }
  /// There are not as many logical processors as cores.
  bool hyperthreaded() const noexcept { return details_.hyperthreaded; }
  /// `frequency` came from the system.
  bool frequencyAvailable() const noexcept { return details_.frequencyAvailable; }
  /// The last refresh got everything from the system: nothing above is a fallback or left over.
  bool detailsValid() const noexcept { return detailsValid_; }

 private:
  x86_64::InstructionSet instructionSet_;
  detail::details details_;
  bool detailsValid_ = false;
};

/// Whether both have the same frequency, cores and hyper-threading. The instruction set, the tiers and whether the
/// details are valid do not count.
FL_API bool operator==(const CpuInfo& left, const CpuInfo& right) noexcept;
FL_API bool operator!=(const CpuInfo& left, const CpuInfo& right) noexcept;

/// How many threads of this process can run at once: as many as the machine has cores, or logical processors if
/// `useLogicalCores`, and at most as many as the process may use. 0 where nothing is known: before the first refresh,
/// and after a fallback where the C++ library does not know either. So start `std::max(1ULL, ...)` threads.
FL_API unsigned long long getAvailableConcurrency(const CpuInfo& info, bool useLogicalCores) noexcept;

}  // namespace foundation::core::system

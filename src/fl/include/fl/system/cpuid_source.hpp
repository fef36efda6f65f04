// Where the identification of a processor comes from: the processor itself, or a table that was recorded on another
// one, to see what the library makes of it.
//
// Thread safety: that of the source; the library asks it on the calling thread only.
#pragma once

#include <cstdint>

namespace foundation::core::system::x86_64 {

/// What the CPUID instruction leaves in the registers.
struct CpuidRegisters {
  std::uint32_t eax;  ///< register EAX
  std::uint32_t ebx;  ///< register EBX
  std::uint32_t ecx;  ///< register ECX
  std::uint32_t edx;  ///< register EDX
};

/// All inline, so that a client's source needs nothing of the DLL.
class ICpuidSource {
 public:
  virtual ~ICpuidSource() = default;
  /// CPUID with `leaf` in EAX and `subleaf` in ECX. Is asked for 0 and 0x80000000, and apart from these only for leaves
  /// that they report.
  virtual CpuidRegisters cpuid(std::uint32_t leaf, std::uint32_t subleaf) const = 0;
  /// XGETBV: the extended control register `index`. Is asked only if CPUID shows that the instruction is enabled.
  virtual std::uint64_t xgetbv(std::uint32_t index) const = 0;

 protected:
  ICpuidSource() = default;
  ICpuidSource(const ICpuidSource&) = default;
  ICpuidSource& operator=(const ICpuidSource&) = default;
};

}  // namespace foundation::core::system::x86_64

// The identification of the processor that runs this code.
#pragma once

#include <fl/system/cpuid_source.hpp>

namespace foundation::core::system::x86_64 {

class Cpuid : public ICpuidSource {
 public:
  CpuidRegisters cpuid(std::uint32_t leaf, std::uint32_t subleaf) const override;
  /// Faults if the operating system has not enabled XSAVE.
  std::uint64_t xgetbv(std::uint32_t index) const override;
};

}  // namespace foundation::core::system::x86_64

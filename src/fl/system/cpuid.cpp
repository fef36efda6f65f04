#include "system/cpuid.hpp"

#include <cpuid.h>

namespace foundation::core::system::x86_64 {

CpuidRegisters Cpuid::cpuid(std::uint32_t leaf, std::uint32_t subleaf) const {
  CpuidRegisters registers;
  __cpuid_count(leaf, subleaf, registers.eax, registers.ebx, registers.ecx, registers.edx);
  return registers;
}

// As an instruction, since the compiler's function for it is there only in code that is compiled to need XSAVE.
std::uint64_t Cpuid::xgetbv(std::uint32_t index) const {
  std::uint32_t low;
  std::uint32_t high;
  asm volatile("xgetbv" : "=a"(low), "=d"(high) : "c"(index));
  return static_cast<std::uint64_t>(high) << 32 | low;
}

}  // namespace foundation::core::system::x86_64

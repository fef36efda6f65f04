// The names of features, and where the processor tells of them.

#include <fl/system/instruction_set.hpp>

namespace foundation::core::system::x86_64 {

namespace {

using set = InstructionSet;

enum class vendors { all, intel, amd };

// Register state in XCR0, which is 0 without OSXSAVE.
constexpr std::uint64_t none = 0;
constexpr std::uint64_t ymm = 0x06;  ///< SSE and AVX
constexpr std::uint64_t zmm = 0xE6;  ///< these, and the three parts of AVX-512

struct feature {
  const char* token;
  vendors told_by;
  std::uint32_t (set::*word)() const noexcept;
  unsigned bit;               ///< of the word
  std::uint64_t saved_state;  ///< what the operating system must save for it
};

constexpr feature features[] = {
    {" ABM ", vendors::amd, &set::cpuidExt1Ecx, 5, none},
    {" ADX ", vendors::all, &set::cpuid7Ebx, 19, none},
    {" AES ", vendors::all, &set::cpuid1Ecx, 25, none},
    {" AVX ", vendors::all, &set::cpuid1Ecx, 28, ymm},
    {" AVX2 ", vendors::all, &set::cpuid7Ebx, 5, ymm},
    {" AVX512CD ", vendors::all, &set::cpuid7Ebx, 28, zmm},
    {" AVX512ER ", vendors::all, &set::cpuid7Ebx, 27, zmm},
    {" AVX512F ", vendors::all, &set::cpuid7Ebx, 16, zmm},
    {" AVX512PF ", vendors::all, &set::cpuid7Ebx, 26, zmm},
    {" BMI1 ", vendors::all, &set::cpuid7Ebx, 3, none},
    {" BMI2 ", vendors::all, &set::cpuid7Ebx, 8, none},
    {" CLFSH ", vendors::all, &set::cpuid1Edx, 19, none},
    {" CMOV ", vendors::all, &set::cpuid1Edx, 15, none},
    {" CMPXCHG16B ", vendors::all, &set::cpuid1Ecx, 13, none},
    {" CX8 ", vendors::all, &set::cpuid1Edx, 8, none},
    {" ERMS ", vendors::all, &set::cpuid7Ebx, 9, none},
    {" F16C ", vendors::all, &set::cpuid1Ecx, 29, none},
    {" FMA ", vendors::all, &set::cpuid1Ecx, 12, none},
    {" FSGSBASE ", vendors::all, &set::cpuid7Ebx, 0, none},
    {" FXSR ", vendors::all, &set::cpuid1Edx, 24, none},
    {" HLE ", vendors::intel, &set::cpuid7Ebx, 4, none},
    {" HYPERVISOR ", vendors::all, &set::cpuid1Ecx, 31, none},
    {" INVPCID ", vendors::all, &set::cpuid7Ebx, 10, none},
    {" LAHF ", vendors::all, &set::cpuidExt1Ecx, 0, none},
    {" LZCNT ", vendors::intel, &set::cpuidExt1Ecx, 5, none},
    {" MMX ", vendors::all, &set::cpuid1Edx, 23, none},
    {" MMXEXT ", vendors::amd, &set::cpuidExt1Edx, 22, none},
    {" MONITOR ", vendors::all, &set::cpuid1Ecx, 3, none},
    {" MOVBE ", vendors::all, &set::cpuid1Ecx, 22, none},
    {" MSR ", vendors::all, &set::cpuid1Edx, 5, none},
    {" OSXSAVE ", vendors::all, &set::cpuid1Ecx, 27, none},
    {" OSYMMSAVE ", vendors::all, &set::cpuid1Ecx, 27, ymm},
    {" OSZMMSAVE ", vendors::all, &set::cpuid1Ecx, 27, zmm},
    {" PCLMULQDQ ", vendors::all, &set::cpuid1Ecx, 1, none},
    {" POPCNT ", vendors::all, &set::cpuid1Ecx, 23, none},
    {" PREFETCHWT1 ", vendors::all, &set::cpuid7Ecx, 0, none},
    {" RDRAND ", vendors::all, &set::cpuid1Ecx, 30, none},
    {" RDSEED ", vendors::all, &set::cpuid7Ebx, 18, none},
    {" RDTSCP ", vendors::intel, &set::cpuidExt1Edx, 27, none},
    {" RTM ", vendors::intel, &set::cpuid7Ebx, 11, none},
    {" SEP ", vendors::all, &set::cpuid1Edx, 11, none},
    {" SHA ", vendors::all, &set::cpuid7Ebx, 29, none},
    {" SSE ", vendors::all, &set::cpuid1Edx, 25, none},
    {" SSE2 ", vendors::all, &set::cpuid1Edx, 26, none},
    {" SSE3 ", vendors::all, &set::cpuid1Ecx, 0, none},
    {" SSE41 ", vendors::all, &set::cpuid1Ecx, 19, none},
    {" SSE42 ", vendors::all, &set::cpuid1Ecx, 20, none},
    {" SSE4a ", vendors::amd, &set::cpuidExt1Ecx, 6, none},
    {" SSSE3 ", vendors::all, &set::cpuid1Ecx, 9, none},
    {" SYSCALL ", vendors::intel, &set::cpuidExt1Edx, 11, none},
    {" TBM ", vendors::amd, &set::cpuidExt1Ecx, 21, none},
    {" XOP ", vendors::amd, &set::cpuidExt1Ecx, 11, none},
    {" XSAVE ", vendors::all, &set::cpuid1Ecx, 26, none},
    {" _3DNOW ", vendors::amd, &set::cpuidExt1Edx, 31, none},
    {" _3DNOWEXT ", vendors::amd, &set::cpuidExt1Edx, 30, none},
};

bool is_told_by(vendors which, const InstructionSet& processor) {
  return which == vendors::all || (which == vendors::intel ? processor.isIntel() : processor.isAMD());
}

bool has(const InstructionSet& processor, const feature& wanted) {
  return is_told_by(wanted.told_by, processor) && ((processor.*wanted.word)() >> wanted.bit & 1) != 0 &&
         (processor.xcr0() & wanted.saved_state) == wanted.saved_state;
}

}  // namespace

std::string InstructionSet::getFeatureString() const {
  std::string tokens;
  for (const feature& wanted : features)
    if (has(*this, wanted))
      tokens += wanted.token;
  return tokens;
}

}  // namespace foundation::core::system::x86_64

// The names of features, and where the processor reports them: getFeatureString of fl/system/instruction_set.hpp.

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
  std::uint32_t (set::*word)() const noexcept;
  unsigned bit;  ///< of the word
  vendors reported_by;
  std::uint64_t saved_state;  ///< what the operating system must save for it
};

constexpr feature features[] = {
    {" ABM ", &set::cpuidExt1Ecx, 5, vendors::amd, none},
    {" ADX ", &set::cpuid7Ebx, 19, vendors::all, none},
    {" AES ", &set::cpuid1Ecx, 25, vendors::all, none},
    {" AVX ", &set::cpuid1Ecx, 28, vendors::all, ymm},
    {" AVX2 ", &set::cpuid7Ebx, 5, vendors::all, ymm},
    {" AVX512CD ", &set::cpuid7Ebx, 28, vendors::all, zmm},
    {" AVX512ER ", &set::cpuid7Ebx, 27, vendors::all, zmm},
    {" AVX512F ", &set::cpuid7Ebx, 16, vendors::all, zmm},
    {" AVX512PF ", &set::cpuid7Ebx, 26, vendors::all, zmm},
    {" BMI1 ", &set::cpuid7Ebx, 3, vendors::all, none},
    {" BMI2 ", &set::cpuid7Ebx, 8, vendors::all, none},
    {" CLFSH ", &set::cpuid1Edx, 19, vendors::all, none},
    {" CMOV ", &set::cpuid1Edx, 15, vendors::all, none},
    {" CMPXCHG16B ", &set::cpuid1Ecx, 13, vendors::all, none},
    {" CX8 ", &set::cpuid1Edx, 8, vendors::all, none},
    {" ERMS ", &set::cpuid7Ebx, 9, vendors::all, none},
    {" F16C ", &set::cpuid1Ecx, 29, vendors::all, none},
    {" FMA ", &set::cpuid1Ecx, 12, vendors::all, none},
    {" FSGSBASE ", &set::cpuid7Ebx, 0, vendors::all, none},
    {" FXSR ", &set::cpuid1Edx, 24, vendors::all, none},
    {" HLE ", &set::cpuid7Ebx, 4, vendors::intel, none},
    {" HYPERVISOR ", &set::cpuid1Ecx, 31, vendors::all, none},
    {" INVPCID ", &set::cpuid7Ebx, 10, vendors::all, none},
    {" LAHF ", &set::cpuidExt1Ecx, 0, vendors::all, none},
    {" LZCNT ", &set::cpuidExt1Ecx, 5, vendors::intel, none},
    {" MMX ", &set::cpuid1Edx, 23, vendors::all, none},
    {" MMXEXT ", &set::cpuidExt1Edx, 22, vendors::amd, none},
    {" MONITOR ", &set::cpuid1Ecx, 3, vendors::all, none},
    {" MOVBE ", &set::cpuid1Ecx, 22, vendors::all, none},
    {" MSR ", &set::cpuid1Edx, 5, vendors::all, none},
    {" OSXSAVE ", &set::cpuid1Ecx, 27, vendors::all, none},
    {" OSYMMSAVE ", &set::cpuid1Ecx, 27, vendors::all, ymm},
    {" OSZMMSAVE ", &set::cpuid1Ecx, 27, vendors::all, zmm},
    {" PCLMULQDQ ", &set::cpuid1Ecx, 1, vendors::all, none},
    {" POPCNT ", &set::cpuid1Ecx, 23, vendors::all, none},
    {" PREFETCHWT1 ", &set::cpuid7Ecx, 0, vendors::all, none},
    {" RDRAND ", &set::cpuid1Ecx, 30, vendors::all, none},
    {" RDSEED ", &set::cpuid7Ebx, 18, vendors::all, none},
    {" RDTSCP ", &set::cpuidExt1Edx, 27, vendors::intel, none},
    {" RTM ", &set::cpuid7Ebx, 11, vendors::intel, none},
    {" SEP ", &set::cpuid1Edx, 11, vendors::all, none},
    {" SHA ", &set::cpuid7Ebx, 29, vendors::all, none},
    {" SSE ", &set::cpuid1Edx, 25, vendors::all, none},
    {" SSE2 ", &set::cpuid1Edx, 26, vendors::all, none},
    {" SSE3 ", &set::cpuid1Ecx, 0, vendors::all, none},
    {" SSE41 ", &set::cpuid1Ecx, 19, vendors::all, none},
    {" SSE42 ", &set::cpuid1Ecx, 20, vendors::all, none},
    {" SSE4a ", &set::cpuidExt1Ecx, 6, vendors::amd, none},
    {" SSSE3 ", &set::cpuid1Ecx, 9, vendors::all, none},
    {" SYSCALL ", &set::cpuidExt1Edx, 11, vendors::intel, none},
    {" TBM ", &set::cpuidExt1Ecx, 21, vendors::amd, none},
    {" XOP ", &set::cpuidExt1Ecx, 11, vendors::amd, none},
    {" XSAVE ", &set::cpuid1Ecx, 26, vendors::all, none},
    {" _3DNOW ", &set::cpuidExt1Edx, 31, vendors::amd, none},
    {" _3DNOWEXT ", &set::cpuidExt1Edx, 30, vendors::amd, none},
};

bool isReportedBy(vendors which, const InstructionSet& processor) {
  return which == vendors::all || (which == vendors::intel ? processor.isIntel() : processor.isAMD());
}

bool has(const InstructionSet& processor, const feature& wanted) {
  return isReportedBy(wanted.reported_by, processor) && ((processor.*wanted.word)() >> wanted.bit & 1) != 0 &&
         (processor.xcr0() & wanted.saved_state) == wanted.saved_state;
}

}  // namespace

std::string InstructionSet::getFeatureString() const {
  std::string tokens;
  for (const feature& wanted : features) {
    if (has(*this, wanted)) {
      tokens += wanted.token;
    }
  }
  return tokens;
}

}  // namespace foundation::core::system::x86_64

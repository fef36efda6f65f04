// The names of features: getFeatureString of fl/system/instruction_set.hpp.

#include <fl/system/instruction_set.hpp>

namespace foundation::core::system::x86_64 {

namespace {

struct named_feature {
  const char* token;
  Feature feature;
};

constexpr named_feature features[] = {
    {" ABM ", Feature::abm},
    {" ADX ", Feature::adx},
    {" AES ", Feature::aes},
    {" AVX ", Feature::avx},
    {" AVX2 ", Feature::avx2},
    {" AVX512CD ", Feature::avx512cd},
    {" AVX512ER ", Feature::avx512er},
    {" AVX512F ", Feature::avx512f},
    {" AVX512PF ", Feature::avx512pf},
    {" BMI1 ", Feature::bmi1},
    {" BMI2 ", Feature::bmi2},
    {" CLFSH ", Feature::clfsh},
    {" CMOV ", Feature::cmov},
    {" CMPXCHG16B ", Feature::cmpxchg16b},
    {" CX8 ", Feature::cx8},
    {" ERMS ", Feature::erms},
    {" F16C ", Feature::f16c},
    {" FMA ", Feature::fma},
    {" FSGSBASE ", Feature::fsgsbase},
    {" FXSR ", Feature::fxsr},
    {" HLE ", Feature::hle},
    {" HYPERVISOR ", Feature::hypervisor},
    {" INVPCID ", Feature::invpcid},
    {" LAHF ", Feature::lahf},
    {" LZCNT ", Feature::lzcnt},
    {" MMX ", Feature::mmx},
    {" MMXEXT ", Feature::mmxext},
    {" MONITOR ", Feature::monitor},
    {" MOVBE ", Feature::movbe},
    {" MSR ", Feature::msr},
    {" OSXSAVE ", Feature::osxsave},
    {" OSYMMSAVE ", Feature::osymmsave},
    {" OSZMMSAVE ", Feature::oszmmsave},
    {" PCLMULQDQ ", Feature::pclmulqdq},
    {" POPCNT ", Feature::popcnt},
    {" PREFETCHWT1 ", Feature::prefetchwt1},
    {" RDRAND ", Feature::rdrand},
    {" RDSEED ", Feature::rdseed},
    {" RDTSCP ", Feature::rdtscp},
    {" RTM ", Feature::rtm},
    {" SEP ", Feature::sep},
    {" SHA ", Feature::sha},
    {" SSE ", Feature::sse},
    {" SSE2 ", Feature::sse2},
    {" SSE3 ", Feature::sse3},
    {" SSE41 ", Feature::sse41},
    {" SSE42 ", Feature::sse42},
    {" SSE4a ", Feature::sse4a},
    {" SSSE3 ", Feature::ssse3},
    {" SYSCALL ", Feature::syscall},
    {" TBM ", Feature::tbm},
    {" XOP ", Feature::xop},
    {" XSAVE ", Feature::xsave},
    {" _3DNOW ", Feature::_3dnow},
    {" _3DNOWEXT ", Feature::_3dnowext},
};

}  // namespace

std::string InstructionSet::getFeatureString() const {
  std::string tokens;
  for (const named_feature& named : features) {
    if (has(named.feature)) {
      tokens += named.token;
    }
  }
  return tokens;
}

}  // namespace foundation::core::system::x86_64

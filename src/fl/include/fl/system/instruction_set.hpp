// Which instructions the processor has, for logs and reports. Implemented in src/fl/system/instruction_set.cpp; the
// names of the features stand in feature_string.cpp beside it.
//
//     const foundation::core::system::x86_64::InstructionSet instructions;
//     log << instructions.brand() << ":" << instructions.getFeatureString();
//     if (instructions.has(Feature::avx2)) …
//
// Some features are reported of one vendor only: a processor may have what is not told of it. Instructions on vector
// registers are reported only if the operating system saves these registers; FMA and F16C are the exceptions, so that a
// program that means to use one of these asks for AVX as well.
//
// Thread safety: a plain value.
#pragma once

#include <fl/export.hpp>
#include <fl/system/cpuid_source.hpp>

#include <cstdint>
#include <string>

namespace foundation::core::system::x86_64 {

// Where a processor reports a feature, as one number for each.
namespace detail {

enum Word : std::uint32_t { basic_ecx, basic_edx, more_ebx, more_ecx, extended_ecx, extended_edx };
enum Vendor : std::uint32_t { any_vendor, intel, amd };  ///< of whose processors it is reported
/// What the operating system must save for it, as bits of extended control register 0, which is 0 without OSXSAVE.
enum State : std::uint32_t { no_state = 0, ymm = 0x06, zmm = 0xE6 };

constexpr std::uint32_t place(Word word, std::uint32_t bit, Vendor vendor = any_vendor, State saved = no_state) {
  return word << 24 | vendor << 16 | saved << 8 | bit;
}

}  // namespace detail

/// The features that the feature string names, each by its name there in lower case.
enum class Feature : std::uint32_t {
  abm = detail::place(detail::extended_ecx, 5, detail::amd),
  adx = detail::place(detail::more_ebx, 19),
  aes = detail::place(detail::basic_ecx, 25),
  avx = detail::place(detail::basic_ecx, 28, detail::any_vendor, detail::ymm),
  avx2 = detail::place(detail::more_ebx, 5, detail::any_vendor, detail::ymm),
  avx512cd = detail::place(detail::more_ebx, 28, detail::any_vendor, detail::zmm),
  avx512er = detail::place(detail::more_ebx, 27, detail::any_vendor, detail::zmm),
  avx512f = detail::place(detail::more_ebx, 16, detail::any_vendor, detail::zmm),
  avx512pf = detail::place(detail::more_ebx, 26, detail::any_vendor, detail::zmm),
  bmi1 = detail::place(detail::more_ebx, 3),
  bmi2 = detail::place(detail::more_ebx, 8),
  clfsh = detail::place(detail::basic_edx, 19),
  cmov = detail::place(detail::basic_edx, 15),
  cmpxchg16b = detail::place(detail::basic_ecx, 13),
  cx8 = detail::place(detail::basic_edx, 8),
  erms = detail::place(detail::more_ebx, 9),
  f16c = detail::place(detail::basic_ecx, 29),
  fma = detail::place(detail::basic_ecx, 12),
  fsgsbase = detail::place(detail::more_ebx, 0),
  fxsr = detail::place(detail::basic_edx, 24),
  hle = detail::place(detail::more_ebx, 4, detail::intel),
  hypervisor = detail::place(detail::basic_ecx, 31),
  invpcid = detail::place(detail::more_ebx, 10),
  lahf = detail::place(detail::extended_ecx, 0),
  lzcnt = detail::place(detail::extended_ecx, 5, detail::intel),
  mmx = detail::place(detail::basic_edx, 23),
  mmxext = detail::place(detail::extended_edx, 22, detail::amd),
  monitor = detail::place(detail::basic_ecx, 3),
  movbe = detail::place(detail::basic_ecx, 22),
  msr = detail::place(detail::basic_edx, 5),
  osxsave = detail::place(detail::basic_ecx, 27),
  osymmsave = detail::place(detail::basic_ecx, 27, detail::any_vendor, detail::ymm),
  oszmmsave = detail::place(detail::basic_ecx, 27, detail::any_vendor, detail::zmm),
  pclmulqdq = detail::place(detail::basic_ecx, 1),
  popcnt = detail::place(detail::basic_ecx, 23),
  prefetchwt1 = detail::place(detail::more_ecx, 0),
  rdrand = detail::place(detail::basic_ecx, 30),
  rdseed = detail::place(detail::more_ebx, 18),
  rdtscp = detail::place(detail::extended_edx, 27, detail::intel),
  rtm = detail::place(detail::more_ebx, 11, detail::intel),
  sep = detail::place(detail::basic_edx, 11),
  sha = detail::place(detail::more_ebx, 29),
  sse = detail::place(detail::basic_edx, 25),
  sse2 = detail::place(detail::basic_edx, 26),
  sse3 = detail::place(detail::basic_ecx, 0),
  sse41 = detail::place(detail::basic_ecx, 19),
  sse42 = detail::place(detail::basic_ecx, 20),
  sse4a = detail::place(detail::extended_ecx, 6, detail::amd),
  ssse3 = detail::place(detail::basic_ecx, 9),
  syscall = detail::place(detail::extended_edx, 11, detail::intel),
  tbm = detail::place(detail::extended_ecx, 21, detail::amd),
  xop = detail::place(detail::extended_ecx, 11, detail::amd),
  xsave = detail::place(detail::basic_ecx, 26),
  _3dnow = detail::place(detail::extended_edx, 31, detail::amd),
  _3dnowext = detail::place(detail::extended_edx, 30, detail::amd),
};

/// The identification of a processor, read once, at construction. What a processor does not report is 0 or empty.
class InstructionSet {
 public:
  /// Asks the processor on which the thread happens to run. Throws `std::bad_alloc`.
  FL_API InstructionSet();
  /// Asks `source`, which is not kept. Throws `std::bad_alloc` and what `source` throws.
  FL_API explicit InstructionSet(const ICpuidSource& source);

  /// The vendor's 12 characters, such as "GenuineIntel", without white space at the ends.
  const std::string& vendor() const noexcept { return vendor_; }
  /// The name of the processor, without white space at the ends.
  const std::string& brand() const noexcept { return brand_; }
  /// The vendor is "GenuineIntel".
  bool isIntel() const noexcept { return isIntel_; }
  /// The vendor is "AuthenticAMD".
  bool isAMD() const noexcept { return isAMD_; }

  /// CPUID leaf 1, register EAX.
  std::uint32_t cpuid1Eax() const noexcept { return cpuid1Eax_; }
  /// CPUID leaf 1, register ECX.
  std::uint32_t cpuid1Ecx() const noexcept { return cpuid1Ecx_; }
  /// CPUID leaf 1, register EDX.
  std::uint32_t cpuid1Edx() const noexcept { return cpuid1Edx_; }
  /// CPUID leaf 7, sub-leaf 0, register EBX.
  std::uint32_t cpuid7Ebx() const noexcept { return cpuid7Ebx_; }
  /// CPUID leaf 7, sub-leaf 0, register ECX.
  std::uint32_t cpuid7Ecx() const noexcept { return cpuid7Ecx_; }
  /// CPUID leaf 0x80000001, register ECX.
  std::uint32_t cpuidExt1Ecx() const noexcept { return cpuidExt1Ecx_; }
  /// CPUID leaf 0x80000001, register EDX.
  std::uint32_t cpuidExt1Edx() const noexcept { return cpuidExt1Edx_; }
  /// Extended control register 0: which register state the operating system saves. 0 if it does not use XSAVE.
  std::uint64_t xcr0() const noexcept { return xcr0_; }

  /// Whether the feature string names `feature`.
  bool has(Feature feature) const noexcept {
    const std::uint32_t words[] = {cpuid1Ecx_, cpuid1Edx_, cpuid7Ebx_, cpuid7Ecx_, cpuidExt1Ecx_, cpuidExt1Edx_};
    const auto place = static_cast<std::uint32_t>(feature);
    const std::uint32_t vendor = place >> 16 & 0xFF;
    const std::uint32_t saved = place >> 8 & 0xFF;
    return (words[place >> 24] >> (place & 0xFF) & 1) != 0 && (xcr0_ & saved) == saved &&
           (vendor == detail::any_vendor || (vendor == detail::intel ? isIntel_ : isAMD_));
  }

  /// The features in alphabetical order, each with a blank at both ends: " ADX  AES  AVX ". Empty if there are none.
  /// Throws `std::bad_alloc`.
  FL_API std::string getFeatureString() const;

 private:
  void readBasicLeaves(const ICpuidSource& source);
  void readExtendedLeaves(const ICpuidSource& source);

  std::string vendor_;
  std::string brand_;
  bool isIntel_ = false;
  bool isAMD_ = false;
  std::uint32_t cpuid1Eax_ = 0;
  std::uint32_t cpuid1Ecx_ = 0;
  std::uint32_t cpuid1Edx_ = 0;
  std::uint32_t cpuid7Ebx_ = 0;
  std::uint32_t cpuid7Ecx_ = 0;
  std::uint32_t cpuidExt1Ecx_ = 0;
  std::uint32_t cpuidExt1Edx_ = 0;
  std::uint64_t xcr0_ = 0;
};

}  // namespace foundation::core::system::x86_64

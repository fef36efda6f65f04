// Which instructions the processor has, for logs and reports. Implemented in src/fl/system/instruction_set.cpp; the
// names of the features stand in feature_string.cpp beside it.
//
//     const foundation::core::system::x86_64::InstructionSet instructions;
//     log << instructions.brand() << ":" << instructions.getFeatureString();
//
// Not a switch for code paths: some features are reported of one vendor only. Instructions on vector registers are
// reported only if the operating system saves these registers; FMA and F16C are the exceptions.
//
// Thread safety: a plain value.
#pragma once

#include <fl/export.hpp>
#include <fl/system/cpuid_source.hpp>

#include <cstdint>
#include <string>

namespace foundation::core::system::x86_64 {

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

  // CPUID leaf 1.
  std::uint32_t cpuid1Eax() const noexcept { return cpuid1Eax_; }
  std::uint32_t cpuid1Ecx() const noexcept { return cpuid1Ecx_; }
  std::uint32_t cpuid1Edx() const noexcept { return cpuid1Edx_; }
  // CPUID leaf 7, sub-leaf 0.
  std::uint32_t cpuid7Ebx() const noexcept { return cpuid7Ebx_; }
  std::uint32_t cpuid7Ecx() const noexcept { return cpuid7Ecx_; }
  // CPUID leaf 0x80000001.
  std::uint32_t cpuidExt1Ecx() const noexcept { return cpuidExt1Ecx_; }
  std::uint32_t cpuidExt1Edx() const noexcept { return cpuidExt1Edx_; }
  /// Extended control register 0: which register state the operating system saves. 0 if it does not use XSAVE.
  std::uint64_t xcr0() const noexcept { return xcr0_; }

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

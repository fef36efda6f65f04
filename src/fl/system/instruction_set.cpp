#include <fl/system/instruction_set.hpp>

#include "system/cpuid.hpp"

#include <boost/algorithm/string/trim.hpp>

#include <algorithm>
#include <initializer_list>

namespace foundation::core::system::x86_64 {

namespace {

constexpr std::uint32_t first_extended_leaf = 0x80000000;
constexpr std::uint32_t feature_leaf = 1;
constexpr std::uint32_t more_features_leaf = 7;
constexpr std::uint32_t extended_feature_leaf = first_extended_leaf + 1;
constexpr std::uint32_t first_brand_leaf = first_extended_leaf + 2;
constexpr std::uint32_t last_brand_leaf = first_extended_leaf + 4;

constexpr std::uint32_t xsave_and_osxsave = 1u << 26 | 1u << 27;

/// Each register holds four characters, the first in its lowest byte.
void append(std::string& text, std::initializer_list<std::uint32_t> registers) {
  for (const std::uint32_t word : registers) {
    for (unsigned shift = 0; shift != 32; shift += 8) {
      text += static_cast<char>(word >> shift);
    }
  }
}

void cutAndTrim(std::string& text) {
  text.resize(std::min(text.size(), text.find('\0')));
  boost::algorithm::trim(text);
}

}  // namespace

InstructionSet::InstructionSet() : InstructionSet(Cpuid()) {}

InstructionSet::InstructionSet(const ICpuidSource& source) {
  readBasicLeaves(source);
  readExtendedLeaves(source);
  if ((cpuid1Ecx_ & xsave_and_osxsave) == xsave_and_osxsave) {
    xcr0_ = source.xgetbv(0);
  }
}

// Only leaves that hold something of ours are read: under a hypervisor each CPUID is a trap, and a processor without
// extended leaves may answer the question for the highest of them with any number.

void InstructionSet::readBasicLeaves(const ICpuidSource& source) {
  const CpuidRegisters first = source.cpuid(0, 0);
  append(vendor_, {first.ebx, first.edx, first.ecx});
  cutAndTrim(vendor_);
  isIntel_ = vendor_ == "GenuineIntel";
  isAMD_ = vendor_ == "AuthenticAMD";
  const auto highest = static_cast<std::int32_t>(first.eax);
  if (highest >= static_cast<std::int32_t>(feature_leaf)) {
    const CpuidRegisters features = source.cpuid(feature_leaf, 0);
    cpuid1Eax_ = features.eax;
    cpuid1Ecx_ = features.ecx;
    cpuid1Edx_ = features.edx;
  }
  if (highest >= static_cast<std::int32_t>(more_features_leaf)) {
    const CpuidRegisters features = source.cpuid(more_features_leaf, 0);
    cpuid7Ebx_ = features.ebx;
    cpuid7Ecx_ = features.ecx;
  }
}

void InstructionSet::readExtendedLeaves(const ICpuidSource& source) {
  const std::uint32_t highest = source.cpuid(first_extended_leaf, 0).eax;
  if (highest >= extended_feature_leaf) {
    const CpuidRegisters features = source.cpuid(extended_feature_leaf, 0);
    cpuidExt1Ecx_ = features.ecx;
    cpuidExt1Edx_ = features.edx;
  }
  if (highest >= last_brand_leaf) {
    for (std::uint32_t leaf = first_brand_leaf; leaf <= last_brand_leaf; ++leaf) {
      const CpuidRegisters part = source.cpuid(leaf, 0);
      append(brand_, {part.eax, part.ebx, part.ecx, part.edx});
    }
    cutAndTrim(brand_);
  }
}

}  // namespace foundation::core::system::x86_64

// What the library makes of a processor's identification: on recorded processors, on such as nobody records, and on the
// one that runs this.

#include <fl/system/instruction_set.hpp>

#include "recorded_processors.hpp"

#include <gtest/gtest.h>

#include <cpuid.h>
#include <immintrin.h>

#include <algorithm>
#include <array>
#include <cstring>
#include <iterator>
#include <set>
#include <sstream>
#include <utility>
#include <vector>

namespace {

using namespace foundation::core::system::x86_64;
using namespace recorded_processors;
using namespace std::string_literals;
using token_set = std::set<std::string>;

/// Answers from a record. To ask for what a real processor answers with garbage or a fault is a failure.
class replay : public ICpuidSource {
 public:
  explicit replay(const recorded_processor& processor) : processor_(processor) {}

  CpuidRegisters cpuid(std::uint32_t leaf, std::uint32_t subleaf) const override {
    EXPECT_EQ(subleaf, 0u);
    EXPECT_TRUE(exists(leaf)) << "no leaf " << std::hex << leaf;
    const auto found = std::find(std::begin(leaf_numbers), std::end(leaf_numbers), leaf);
    if (!exists(leaf) || found == std::end(leaf_numbers)) {
      return {~0u, ~0u, ~0u, ~0u};
    }
    return processor_.leaves[found - std::begin(leaf_numbers)];
  }
  std::uint64_t xgetbv(std::uint32_t index) const override {
    EXPECT_EQ(index, 0u);
    EXPECT_EQ(processor_.leaves[leaf_1].ecx >> 26 & 3, 3u) << "XGETBV is not enabled";
    return processor_.xcr0;
  }

 private:
  bool exists(std::uint32_t leaf) const {
    if (leaf >= 0x80000000) {
      return leaf == 0x80000000 || leaf <= processor_.leaves[extended_0].eax;
    }
    return leaf == 0 || static_cast<std::int32_t>(leaf) <= static_cast<std::int32_t>(processor_.leaves[leaf_0].eax);
  }

  const recorded_processor& processor_;
};

/// What is kept of leaf 1, of leaf 7 and of the extended features.
std::array<std::uint32_t, 7> words_of(const InstructionSet& told) {
  return {told.cpuid1Eax(), told.cpuid1Ecx(),    told.cpuid1Edx(),   told.cpuid7Ebx(),
          told.cpuid7Ecx(), told.cpuidExt1Ecx(), told.cpuidExt1Edx()};
}

token_set tokens_of(const InstructionSet& told) {
  std::istringstream features(told.getFeatureString());
  return token_set(std::istream_iterator<std::string>(features), {});
}

void set_vendor(recorded_processor& processor, std::string text) {
  text.resize(12);
  CpuidRegisters& leaf = processor.leaves[leaf_0];
  std::memcpy(&leaf.ebx, &text[0], 4);
  std::memcpy(&leaf.edx, &text[4], 4);
  std::memcpy(&leaf.ecx, &text[8], 4);
}

TEST(InstructionSet, TellsOfEachRecordedProcessorWhatItHas) {
  for (const recorded_processor& processor : all) {
    SCOPED_TRACE(processor.name);
    const InstructionSet told{replay(processor)};
    EXPECT_EQ(told.vendor(), processor.vendor);
    EXPECT_EQ(told.brand(), processor.brand);
    EXPECT_EQ(told.isIntel(), processor.vendor == "GenuineIntel"s);
    EXPECT_EQ(told.isAMD(), processor.vendor == "AuthenticAMD"s);
    const auto& [zero, one, seven, highest, extended, brand_1, brand_2, brand_3] = processor.leaves;
    EXPECT_EQ(words_of(told),
              (std::array{one.eax, one.ecx, one.edx, seven.ebx, seven.ecx, extended.ecx, extended.edx}));
    EXPECT_EQ(told.xcr0(), processor.xcr0);
    EXPECT_EQ(told.getFeatureString(), processor.features);
  }
}

TEST(InstructionSet, ReadsNoLeafBeyondTheHighestOfItsKind) {
  const struct {
    std::uint32_t highest_basic, highest_extended;
    bool one, seven, extended, brand;  // which leaves there are
  } cases[] = {{0xFFFFFFFF, 0x80000008, false, false, true, true},
               {0x80000007, 0x80000008, false, false, true, true},
               {0, 0x80000008, false, false, true, true},
               {1, 0, true, false, false, false},
               {6, 7, true, false, false, false},
               {7, 0x7FFFFFFF, true, true, false, false},
               {7, 0x80000000, true, true, false, false},
               {7, 0x80000001, true, true, true, false},
               {7, 0x80000003, true, true, true, false},
               {7, 0x80000004, true, true, true, true},
               {0x7FFFFFFF, 0xFFFFFFFF, true, true, true, true}};
  recorded_processor processor = i7_4710mq;
  for (const auto& [highest_basic, highest_extended, one, seven, extended, brand] : cases) {
    SCOPED_TRACE(testing::Message() << std::hex << highest_basic << ' ' << highest_extended);
    processor.leaves[leaf_0].eax = highest_basic;
    processor.leaves[extended_0].eax = highest_extended;
    const InstructionSet told{replay(processor)};
    EXPECT_EQ(told.vendor(), processor.vendor);
    EXPECT_EQ(told.brand(), brand ? processor.brand : "");
    EXPECT_EQ(words_of(told), (std::array{one * 0x000306C3u, one * 0x7FDAFBBFu, one * 0xBFEBFBFFu, seven * 0x000027ABu,
                                          0u, extended * 0x00000021u, extended * 0x2C100000u}));
    EXPECT_EQ(told.xcr0(), one * 7u);
  }
}

TEST(InstructionSet, CutsTextsAtAZeroBeforeItTrimsThem) {
  const std::string full = "A brand that fills all of its 48 characters: 4.2";
  const struct {
    std::string vendor, trimmed_vendor, brand, trimmed_brand;
  } cases[] = {{"SiS SiS SiS ", "SiS SiS SiS", full, full},
               {"\t\n Maker\r\v\f ", "Maker", std::string(48, ' '), ""},
               {"Genuine\0ntel"s, "Genuine", "  One \0 more"s, "One"},
               {"\0GenuineInte"s, "", "\0 all of it"s, ""},
               {"genuineintel", "genuineintel", "\tOne  two\n", "One  two"}};
  recorded_processor processor = i7_4710mq;
  for (const auto& [vendor, trimmed_vendor, brand, trimmed_brand] : cases) {
    set_vendor(processor, vendor);
    std::array<char, 48> padded{};
    brand.copy(padded.data(), padded.size());
    std::memcpy(processor.leaves + first_brand, padded.data(), padded.size());
    const InstructionSet told{replay(processor)};
    EXPECT_EQ(told.vendor(), trimmed_vendor);
    EXPECT_EQ(told.brand(), trimmed_brand);
    EXPECT_FALSE(told.isIntel() || told.isAMD()) << vendor;
  }
}

/// Bits of a register and their names, in pairs. A bit that no list has tells of nothing.
struct documented_register {
  leaf_index leaf;
  std::uint32_t CpuidRegisters::* word;
  const char* all = "";
  const char* vector = "";  ///< those that need register state which the operating system has to save
  const char* intel = "";
  const char* amd = "";
};

constexpr documented_register documented_registers[] = {
    {leaf_1, &CpuidRegisters::eax},
    {leaf_1, &CpuidRegisters::ebx},
    {leaf_1, &CpuidRegisters::ecx,
     "0 SSE3 1 PCLMULQDQ 3 MONITOR 9 SSSE3 12 FMA 13 CMPXCHG16B 19 SSE41 20 SSE42 22 MOVBE 23 POPCNT 25 AES 26 XSAVE "
     "27 OSXSAVE 29 F16C 30 RDRAND 31 HYPERVISOR",
     "28 AVX"},
    {leaf_1, &CpuidRegisters::edx, "5 MSR 8 CX8 11 SEP 15 CMOV 19 CLFSH 23 MMX 24 FXSR 25 SSE 26 SSE2"},
    {leaf_7, &CpuidRegisters::eax},
    {leaf_7, &CpuidRegisters::ebx, "0 FSGSBASE 3 BMI1 8 BMI2 9 ERMS 10 INVPCID 18 RDSEED 19 ADX 29 SHA",
     "5 AVX2 16 AVX512F 26 AVX512PF 27 AVX512ER 28 AVX512CD", "4 HLE 11 RTM"},
    {leaf_7, &CpuidRegisters::ecx, "0 PREFETCHWT1"},
    {leaf_7, &CpuidRegisters::edx},
    {extended_1, &CpuidRegisters::eax},
    {extended_1, &CpuidRegisters::ebx},
    {extended_1, &CpuidRegisters::ecx, "0 LAHF", "", "5 LZCNT", "5 ABM 6 SSE4a 11 XOP 21 TBM"},
    {extended_1, &CpuidRegisters::edx, "", "", "11 SYSCALL 27 RDTSCP", "22 MMXEXT 30 _3DNOWEXT 31 _3DNOW"},
};

void add(token_set& tokens, const char* pairs, unsigned bit) {
  std::istringstream stream(pairs);
  unsigned number = 0;
  for (std::string name; stream >> number >> name;) {
    if (number == bit) {
      tokens.insert(name);
    }
  }
}

/// A processor without any feature, of which the operating system saves all registers or none.
recorded_processor bare_processor(const std::string& vendor, bool saves_registers) {
  recorded_processor processor{};
  processor.leaves[leaf_0].eax = 7;
  set_vendor(processor, vendor);
  processor.leaves[leaf_1].ecx = saves_registers ? 3u << 26 : 0;
  processor.leaves[extended_0].eax = 0x80000001;
  processor.xcr0 = ~0ull;
  return processor;
}

TEST(InstructionSet, EachBitAloneTellsWhatItStandsForWithItsVendor) {
  for (const std::string vendor : {"GenuineIntel", "AuthenticAMD", "CentaurHauls"}) {
    for (const bool saved : {false, true}) {
      for (const documented_register& where : documented_registers) {
        for (unsigned bit = 0; bit < 32; ++bit) {
          token_set expected;
          if (saved) {
            expected = {"OSXSAVE", "OSYMMSAVE", "OSZMMSAVE", "XSAVE"};
          }
          add(expected, where.all, bit);
          add(expected, saved ? where.vector : "", bit);
          add(expected, vendor == "GenuineIntel" ? where.intel : vendor == "AuthenticAMD" ? where.amd : "", bit);
          recorded_processor processor = bare_processor(vendor, saved);
          processor.leaves[where.leaf].*where.word |= 1u << bit;
          EXPECT_EQ(tokens_of(InstructionSet{replay(processor)}), expected)
              << vendor << ", leaf " << std::hex << leaf_numbers[where.leaf] << std::dec << ", bit " << bit;
        }
      }
    }
  }
}

TEST(InstructionSet, VectorFeaturesNeedTheWholeOfTheirState) {
  recorded_processor processor = bare_processor("CentaurHauls", true);
  processor.leaves[leaf_1].ecx = processor.leaves[leaf_7].ebx = ~0u;
  processor.xcr0 = 0;
  const token_set without = tokens_of(InstructionSet{replay(processor)});
  EXPECT_TRUE(without.contains("FMA") && without.contains("F16C") && without.contains("OSXSAVE"));
  const std::pair<token_set, std::vector<std::uint64_t>> cases[] = {
      {{}, {0x1, 0x2, 0x3, 0x4, 0x5, 0xE0, 0xE2, 0xE4, ~0xE6ull, 0xE6ull << 32}},
      {{"AVX", "AVX2", "OSYMMSAVE"}, {0x6, 0x7, 0x66, 0xA6, 0xC6, ~0x80ull}},
      {{"AVX", "AVX2", "AVX512CD", "AVX512ER", "AVX512F", "AVX512PF", "OSYMMSAVE", "OSZMMSAVE"}, {0xE6, 0x2FF, ~0ull}}};
  for (const auto& [vector, states] : cases) {
    for (const std::uint64_t xcr0 : states) {
      processor.xcr0 = xcr0;
      const InstructionSet told{replay(processor)};
      token_set expected = without;
      expected.insert(vector.begin(), vector.end());
      EXPECT_EQ(tokens_of(told), expected) << std::hex << xcr0;
      EXPECT_EQ(told.xcr0(), xcr0);
    }
  }
}

__attribute__((target("xsave"))) std::uint64_t enabled_state() {
  return _xgetbv(0);
}

// The compiler has its own ways to ask. Of leaf 1 only what is the same on all cores.
TEST(InstructionSet, TellsOfTheProcessorThatRunsThis) {
  const InstructionSet told;
  std::array<unsigned, 4> vendor{};
  unsigned eax = 0;
  unsigned ebx = 0;
  unsigned ecx = 0;
  unsigned edx = 0;
  ASSERT_TRUE(__get_cpuid(0, &eax, &vendor[0], &vendor[2], &vendor[1]));
  EXPECT_EQ(told.vendor(), reinterpret_cast<const char*>(vendor.data()));
  ASSERT_TRUE(__get_cpuid(1, &eax, &ebx, &ecx, &edx));
  EXPECT_EQ(told.cpuid1Eax(), eax);
  EXPECT_EQ(told.cpuid1Edx(), edx);
  EXPECT_EQ(told.xcr0(), (ecx >> 26 & 3) == 3 ? enabled_state() : 0);
  EXPECT_EQ(told.isIntel(), __builtin_cpu_is("intel") != 0);
  EXPECT_EQ(told.isAMD(), __builtin_cpu_is("amd") != 0);
  const token_set tokens = tokens_of(told);
  EXPECT_EQ(tokens.contains("SSE42"), __builtin_cpu_supports("sse4.2") != 0);
  EXPECT_EQ(tokens.contains("AVX2"), __builtin_cpu_supports("avx2") != 0);
  EXPECT_EQ(tokens.contains("AVX512F"), __builtin_cpu_supports("avx512f") != 0);
}

}  // namespace

// What the library makes of a processor's identification: on scripted processors and on the one that runs this.

#include <fl/system/instruction_set.hpp>

#include "every_test.hpp"

#include <cpuid.h>
#include <immintrin.h>

namespace {

using namespace foundation::core::system::x86_64;
using namespace std::string_literals;
using token_set = std::set<std::string>;

/// Answers from a record. To ask for what a real processor answers with garbage or a fault is a failure.
struct processor : ICpuidSource {
  using leaf_map = std::map<std::uint32_t, CpuidRegisters>;
  leaf_map leaves;     ///< all that the library may ask for, with sub-leaf 0
  std::uint64_t xcr0;  ///< 0 if the operating system has not enabled XSAVE

  processor(leaf_map recorded, std::uint64_t enabled) : leaves(std::move(recorded)), xcr0(enabled) {}

  bool has(std::uint32_t leaf) const {
    if (leaf >= 0x80000000) {
      return leaf == 0x80000000 || leaf <= leaves.at(0x80000000).eax;
    }
    return leaf == 0 || static_cast<std::int32_t>(leaf) <= static_cast<std::int32_t>(leaves.at(0).eax);
  }
  CpuidRegisters cpuid(std::uint32_t leaf, std::uint32_t subleaf) const override {
    EXPECT_EQ(subleaf, 0u);
    EXPECT_TRUE(has(leaf)) << "no leaf " << std::hex << leaf;
    return leaves.at(leaf);
  }
  std::uint64_t xgetbv(std::uint32_t index) const override {
    EXPECT_EQ(index, 0u);
    EXPECT_EQ(leaves.at(1).ecx >> 26 & 3, 3u) << "XGETBV is not enabled";
    return xcr0;
  }
};

// As it was read on a real processor, but for the one bit of leaf 7 in ECX.
const processor core_i7({{0, {0x0000000D, 0x756E6547, 0x6C65746E, 0x49656E69}},
                         {1, {0x000306C3, 0x03100800, 0x7FDAFBBF, 0xBFEBFBFF}},
                         {7, {0x00000000, 0x000027AB, 0x00000001, 0x00000000}},
                         {0x80000000, {0x80000008, 0x00000000, 0x00000000, 0x00000000}},
                         {0x80000001, {0x00000000, 0x00000000, 0x00000021, 0x2C100000}},
                         {0x80000002, {0x65746E49, 0x2952286C, 0x726F4320, 0x4D542865}},
                         {0x80000003, {0x37692029, 0x3137342D, 0x20514D30, 0x20555043}},
                         {0x80000004, {0x2E322040, 0x48473035, 0x0000007A, 0x00000000}}},
                        0x7);

/// What the processor has of all features there are, each asked for by itself.
token_set features_of(const InstructionSet& told) {
  using enum Feature;
  constexpr Feature features[] = {
      abm,       adx,    aes,         avx,    avx2,   avx512cd, avx512er, avx512f,  avx512pf, bmi1,      bmi2,
      clfsh,     cmov,   cmpxchg16b,  cx8,    erms,   f16c,     fma,      fsgsbase, fxsr,     hle,       hypervisor,
      invpcid,   lahf,   lzcnt,       mmx,    mmxext, monitor,  movbe,    msr,      osxsave,  osymmsave, oszmmsave,
      pclmulqdq, popcnt, prefetchwt1, rdrand, rdseed, rdtscp,   rtm,      sep,      sha,      sse,       sse2,
      sse3,      sse41,  sse42,       sse4a,  ssse3,  syscall,  tbm,      xop,      xsave,    _3dnow,    _3dnowext};
  std::istringstream names(
      "ABM ADX AES AVX AVX2 AVX512CD AVX512ER AVX512F AVX512PF BMI1 BMI2 CLFSH CMOV CMPXCHG16B CX8 ERMS F16C FMA "
      "FSGSBASE FXSR HLE HYPERVISOR INVPCID LAHF LZCNT MMX MMXEXT MONITOR MOVBE MSR OSXSAVE OSYMMSAVE OSZMMSAVE "
      "PCLMULQDQ POPCNT PREFETCHWT1 RDRAND RDSEED RDTSCP RTM SEP SHA SSE SSE2 SSE3 SSE41 SSE42 SSE4a SSSE3 "
      "SYSCALL TBM XOP XSAVE _3DNOW _3DNOWEXT");
  token_set had;
  for (const Feature feature : features) {
    std::string name;
    names >> name;
    if (told.has(feature)) {
      had.insert(name);
    }
  }
  EXPECT_TRUE(names.eof());
  return had;
}

/// Those of the feature string.
token_set tokens_of(const InstructionSet& told) {
  std::istringstream features(told.getFeatureString());
  const token_set tokens(std::istream_iterator<std::string>(features), {});
  EXPECT_EQ(features_of(told), tokens);
  return tokens;
}

void set_vendor(processor& which, std::string text) {
  text.resize(12);
  CpuidRegisters& leaf = which.leaves[0];
  std::memcpy(&leaf.ebx, &text[0], 4);
  std::memcpy(&leaf.edx, &text[4], 4);
  std::memcpy(&leaf.ecx, &text[8], 4);
}

TEST(InstructionSet, ReadsNoLeafBeyondTheHighestOfItsKind) {
  processor cut = core_i7;
  for (const std::uint32_t basic : {0xFFFFFFFF, 0x80000007, 0u, 1u, 6u, 7u, 0x7FFFFFFFu}) {
    for (const std::uint32_t extended : {0u, 7u, 0x7FFFFFFFu, 0x80000000, 0x80000001, 0x80000003, 0x80000004, ~0u}) {
      SCOPED_TRACE(testing::Message() << std::hex << basic << ' ' << extended);
      cut.leaves[0].eax = basic;
      cut.leaves[0x80000000].eax = extended;
      const InstructionSet told{cut};
      EXPECT_EQ(told.vendor(), "GenuineIntel");
      EXPECT_EQ(told.brand(), cut.has(0x80000004) ? "Intel(R) Core(TM) i7-4710MQ CPU @ 2.50GHz" : "");
      const unsigned one = cut.has(1), seven = cut.has(7), features = cut.has(0x80000001);
      EXPECT_EQ((std::array{told.cpuid1Eax(), told.cpuid1Ecx(), told.cpuid1Edx(), told.cpuid7Ebx(), told.cpuid7Ecx(),
                            told.cpuidExt1Ecx(), told.cpuidExt1Edx()}),
                (std::array{one * 0x000306C3, one * 0x7FDAFBBF, one * 0xBFEBFBFF, seven * 0x000027AB, seven,
                            features * 0x00000021, features * 0x2C100000}));
      EXPECT_EQ(told.xcr0(), one * 7u);
    }
  }
}

TEST(InstructionSet, CutsTextsAtAZeroBeforeItTrimsThem) {
  const std::string full = "A brand that fills all of its 48 characters: 4.2";
  const std::array<std::string, 4> cases[] = {{"\t\n Maker\r\v\f ", "Maker", full, full},
                                              {"Genuine\0ntel"s, "Genuine", "  One  two \0 more"s, "One  two"},
                                              {"\0GenuineInte"s, "", std::string(48, ' '), ""}};
  processor renamed = core_i7;
  for (const auto& [vendor, trimmed_vendor, brand, trimmed_brand] : cases) {
    set_vendor(renamed, vendor);
    std::array<char, 48> padded{};
    brand.copy(padded.data(), padded.size());
    for (std::uint32_t part = 0; part != 3; ++part) {
      std::memcpy(&renamed.leaves[0x80000002 + part], padded.data() + part * 16, 16);
    }
    const InstructionSet told{renamed};
    EXPECT_EQ(told.vendor(), trimmed_vendor);
    EXPECT_EQ(told.brand(), trimmed_brand);
  }
}

/// Bits of a register and their names, in pairs. A bit that no list has tells of nothing.
struct documented_register {
  std::uint32_t leaf;
  std::uint32_t CpuidRegisters::* word;
  const char* all = "";
  const char* vector = "";  ///< those that need register state which the operating system has to save
  const char* intel = "";
  const char* amd = "";
};

constexpr documented_register documented_registers[] = {
    {1, &CpuidRegisters::eax},
    {1, &CpuidRegisters::ebx},
    {1, &CpuidRegisters::ecx,
     "0 SSE3 1 PCLMULQDQ 3 MONITOR 9 SSSE3 12 FMA 13 CMPXCHG16B 19 SSE41 20 SSE42 22 MOVBE 23 POPCNT 25 AES 26 XSAVE "
     "27 OSXSAVE 29 F16C 30 RDRAND 31 HYPERVISOR",
     "28 AVX"},
    {1, &CpuidRegisters::edx, "5 MSR 8 CX8 11 SEP 15 CMOV 19 CLFSH 23 MMX 24 FXSR 25 SSE 26 SSE2"},
    {7, &CpuidRegisters::eax},
    {7, &CpuidRegisters::ebx, "0 FSGSBASE 3 BMI1 8 BMI2 9 ERMS 10 INVPCID 18 RDSEED 19 ADX 29 SHA",
     "5 AVX2 16 AVX512F 26 AVX512PF 27 AVX512ER 28 AVX512CD", "4 HLE 11 RTM"},
    {7, &CpuidRegisters::ecx, "0 PREFETCHWT1"},
    {7, &CpuidRegisters::edx},
    {0x80000001, &CpuidRegisters::eax},
    {0x80000001, &CpuidRegisters::ebx},
    {0x80000001, &CpuidRegisters::ecx, "0 LAHF", "", "5 LZCNT", "5 ABM 6 SSE4a 11 XOP 21 TBM"},
    {0x80000001, &CpuidRegisters::edx, "", "", "11 SYSCALL 27 RDTSCP", "22 MMXEXT 30 _3DNOWEXT 31 _3DNOW"},
};

void add(token_set& tokens, const char* pairs, std::uint32_t bits) {
  std::istringstream stream(pairs);
  unsigned number = 0;
  for (std::string name; stream >> number >> name;) {
    if ((bits >> number & 1) != 0) {
      tokens.insert(name);
    }
  }
}

void add(token_set& tokens, const documented_register& where, std::uint32_t bits, const std::string& vendor,
         bool saved) {
  add(tokens, where.all, bits);
  add(tokens, saved ? where.vector : "", bits);
  add(tokens, vendor == "GenuineIntel" ? where.intel : vendor == "AuthenticAMD" ? where.amd : "", bits);
}

/// A processor without any feature, of which the operating system saves all registers or none.
processor bare_processor(const std::string& vendor, bool saves_registers) {
  const CpuidRegisters saved{0, 0, saves_registers ? 3u << 26 : 0, 0};
  processor bare({{0, {7, 0, 0, 0}}, {1, saved}, {7, {}}, {0x80000000, {0x80000001, 0, 0, 0}}, {0x80000001, {}}},
                 ~0ull);
  set_vendor(bare, vendor);
  return bare;
}

TEST(InstructionSet, EachBitAloneTellsWhatItStandsForWithItsVendorAndAllTellInTheOrderOfTheirNames) {
  const token_set with_saved_registers = {"OSXSAVE", "OSYMMSAVE", "OSZMMSAVE", "XSAVE"};
  for (const std::string vendor : {"GenuineIntel", "AuthenticAMD", "CentaurHauls"}) {
    token_set all = with_saved_registers;
    processor full = bare_processor(vendor, true);
    for (const documented_register& where : documented_registers) {
      add(all, where, ~0u, vendor, true);
      full.leaves[where.leaf].*where.word = ~0u;
      for (const bool saved : {false, true}) {
        for (unsigned bit = 0; bit < 32; ++bit) {
          token_set expected = saved ? with_saved_registers : token_set();
          add(expected, where, 1u << bit, vendor, saved);
          processor told = bare_processor(vendor, saved);
          told.leaves[where.leaf].*where.word |= 1u << bit;
          EXPECT_EQ(tokens_of(InstructionSet{told}), expected)
              << vendor << ", leaf " << std::hex << where.leaf << std::dec << ", bit " << bit;
        }
      }
    }
    std::string features;
    for (const std::string& token : all) {
      features += " " + token + " ";
    }
    const InstructionSet told{full};
    EXPECT_EQ(told.getFeatureString(), features);
    EXPECT_EQ(told.isIntel(), vendor == "GenuineIntel");
    EXPECT_EQ(told.isAMD(), vendor == "AuthenticAMD");
  }
}

TEST(InstructionSet, VectorFeaturesNeedTheWholeOfTheirState) {
  processor vectors = bare_processor("CentaurHauls", true);
  vectors.leaves[1].ecx = vectors.leaves[7].ebx = ~0u;
  vectors.xcr0 = 0;
  const token_set without = tokens_of(InstructionSet{vectors});
  EXPECT_TRUE(without.contains("FMA") && without.contains("F16C") && without.contains("OSXSAVE"));
  const std::pair<token_set, std::vector<std::uint64_t>> cases[] = {
      {{}, {0x1, 0x2, 0x3, 0x4, 0x5, 0xE0, 0xE2, 0xE4, ~0xE6ull, 0xE6ull << 32}},
      {{"AVX", "AVX2", "OSYMMSAVE"}, {0x6, 0x7, 0x66, 0xA6, 0xC6, ~0x80ull}},
      {{"AVX", "AVX2", "AVX512CD", "AVX512ER", "AVX512F", "AVX512PF", "OSYMMSAVE", "OSZMMSAVE"}, {0xE6, 0x2FF, ~0ull}}};
  for (const auto& [vector, states] : cases) {
    for (const std::uint64_t xcr0 : states) {
      vectors.xcr0 = xcr0;
      const InstructionSet told{vectors};
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
  unsigned eax = 0, ebx = 0, ecx = 0, edx = 0;
  ASSERT_TRUE(__get_cpuid(0, &eax, &vendor[0], &vendor[2], &vendor[1]));
  EXPECT_EQ(told.vendor(), reinterpret_cast<const char*>(vendor.data()));
  ASSERT_TRUE(__get_cpuid(1, &eax, &ebx, &ecx, &edx));
  EXPECT_EQ(told.cpuid1Edx(), edx);
  EXPECT_EQ(told.xcr0(), (ecx >> 26 & 3) == 3 ? enabled_state() : 0);
}

}  // namespace

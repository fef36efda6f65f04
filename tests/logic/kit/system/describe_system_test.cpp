// How the facts about a system are written.

#include "every_test.hpp"
#include "system/fact_names.hpp"

#include <kit/describe_system.hpp>

namespace {

namespace kit = foundation::kit;

constexpr std::uint64_t gib = 1ull << 30;

kit::system_facts a_container() {
  kit::system_facts facts;
  facts.product = "Windows 10 Pro";
  facts.release = "23H2";
  facts.version = {10, 0, 22000};
  facts.revision = 3155;
  facts.architecture = facts.native_architecture.emplace("x86-64");
  facts.processor = "A processor";
  facts.instructions = "AES AVX";
  facts.cores = 4;
  facts.logical_processors = 8;
  facts.usable_processors = 6;
  facts.frequency = 2'499'999'999;
  facts.physical_memory = 16 * gib;
  facts.available_memory = 10'485'759;
  facts.commit_limit = 10'485'760;
  facts.available_commit = 10'239;
  facts.committed = 0;
  facts.page_size = 4096;
  facts.in_job = true;
  facts.job.emplace();
  facts.job->job_memory = 2 * gib + 1'048'575;
  facts.job->active_processes = 16;
  facts.job->processors = 0x30;
  facts.job_processor_percent = 33.3333;
  facts.affinity = 0x30;
  facts.system_affinity = 0xFFFFFFFFFFFFFFFF;
  facts.priority = "below normal";
  facts.elevated = true;
  facts.integrity = "high";
  facts.locale = "de-AT";
  facts.ansi_code_page = 1252;
  facts.oem_code_page = 850;
  return facts;
}

TEST(DescribeSystem, WritesOneFactALine) {
  EXPECT_EQ(to_string(a_container()),
            "system: Windows 11 Pro 23H2\nversion: 10.0.22000.3155\nWine: no\narchitecture: x86-64\n"
            "processor: A processor\ninstructions: AES AVX\ncores: 4\nlogical processors: 8\nusable processors: 6\n"
            "frequency: 2499 MHz\nmemory: 16384 MiB, 10239 KiB available\ncommit limit: 10 MiB, 10239 bytes available\n"
            "committed: 0 bytes\npage size: 4096 bytes\njob: yes\nmemory of the job: 2048 MiB\n"
            "memory of a process of the job: unlimited\nprocesses of the job: 16\nprocessors of the job: 0x30\n"
            "processor time of the job: 33.33%\naffinity: 0x30 of 0xffffffffffffffff\npriority: below normal\n"
            "elevated: yes\nintegrity: high\nlocale: de-AT\ncode page: 1252, OEM 850\n");
  EXPECT_EQ(to_string(kit::system_facts()),
            "system: unknown\nversion: unknown\nWine: no\narchitecture:  on unknown\nprocessor: unknown\n"
            "instructions: unknown\ncores: unknown\nlogical processors: unknown\nusable processors: unknown\n"
            "frequency: unknown\nmemory: unknown\ncommit limit: unknown\ncommitted: unknown\npage size: 0 bytes\n"
            "job: unknown\naffinity: unknown\npriority: unknown\nelevated: unknown\nintegrity: unknown\n"
            "locale: unknown\ncode page: 0, OEM 0\n");
}

TEST(DescribeSystem, WritesWhatIsOnlyPartlyKnown) {
  using change = void (*)(kit::system_facts&);
  const std::pair<change, std::string> cases[] = {
      {[](auto& facts) { facts.version->build = 21999; }, "system: Windows 10 Pro 23H2\n"},
      {[](auto& facts) { facts.version.reset(); }, "system: Windows 10 Pro 23H2\nversion: unknown\n"},
      {[](auto& facts) { facts.product = "Windows Server 2025"; }, "system: Windows Server 2025 23H2\n"},
      {[](auto& facts) { facts.product.reset(); }, "system: unknown 23H2\n"},
      {[](auto& facts) { facts.release.reset(); }, "system: Windows 11 Pro\n"},
      {[](auto& facts) { facts.revision.reset(); }, "version: 10.0.22000\n"},
      {[](auto& facts) { facts.wine = "8.0\r\n\x7F(staging)"; }, "Wine: 8.0   (staging)\n"},
      {[](auto& facts) { facts.native_architecture = "ARM64"; }, "architecture: x86-64 on ARM64\n"},
      {[](auto& facts) { facts.available_memory.reset(); }, "memory: 16384 MiB, unknown available\n"},
      {[](auto& facts) { facts.in_job = false; }, "job: no\naffinity: "},
      {[](auto& facts) { facts.job.reset(); }, "job: yes\nmemory of the job: unknown\n"},
      {[](auto& facts) { facts.affinity = facts.system_affinity = 0; }, "affinity: several groups\n"},
      {[](auto& facts) { facts.affinity.reset(); }, "affinity: unknown of 0xffffffffffffffff\n"}};
  for (const auto& [make, line] : cases) {
    kit::system_facts facts = a_container();
    make(facts);
    EXPECT_THAT("\n" + to_string(facts), testing::HasSubstr("\n" + line));
  }
}

TEST(FactNames, ALevelOfIntegrityHoldsUpToTheNext) {
  const std::pair<std::uint32_t, std::string> levels[] = {
      {0x0FFF, "untrusted"},   {0x1000, "low"},  {0x1FFF, "low"},    {0x2000, "medium"},   {0x20FF, "medium"},
      {0x2100, "medium plus"}, {0x3000, "high"}, {0x4000, "system"}, {0x5000, "protected"}};
  for (const auto& [level, name] : levels) {
    EXPECT_EQ(kit::detail::integrity_name(level), name) << std::hex << level;
  }
}

}  // namespace

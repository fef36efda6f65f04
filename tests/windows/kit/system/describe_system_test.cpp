// What is told of the system that runs this, and of one that refuses to tell.

#include "every_test.hpp"
#include "import_patch.hpp"

#include <kit/describe_system.hpp>

#include <windows.h>
#include <psapi.h>

namespace {

namespace kit = foundation::kit;
using test_support::injected;

using names = std::set<std::string>;

names unknown_facts() {
  names unknown;
  std::istringstream text(to_string(kit::describe_system()));
  for (std::string line; std::getline(text, line);) {
    if (line.find("unknown") != line.npos) {
      unknown.insert(line.substr(0, line.find(": ")));
    }
  }
  return unknown;
}

/// What is unknown when the `nth` call of `function` is refused (0: each call), and is told otherwise.
template <class Function, class Result>
names lost_without(const char* module, const char* function, Result failure, std::uint64_t nth = 0) {
  const names before = unknown_facts();
  injected<Function> refusal(module, function);
  refusal.fail_at(nth, failure, ERROR_ACCESS_DENIED);
  const names now = unknown_facts();
  EXPECT_GE(refusal.calls(), std::max<std::uint64_t>(nth, 1)) << function;
  names lost;
  std::set_difference(now.begin(), now.end(), before.begin(), before.end(), std::inserter(lost, lost.end()));
  return lost;
}

constexpr const char* kit_dll = "libqxkit.dll";
constexpr const char* core_dll = "libqxfl.dll";

/// Wine does not have this function.
struct DescribeSystem : testing::Test {
  injected<decltype(&GetProcessGroupAffinity)> only_group{core_dll, "GetProcessGroupAffinity",
                                                          [](auto, HANDLE, USHORT* count, USHORT* told) {
                                                            *count = 1;
                                                            *told = 0;
                                                            return TRUE;
                                                          }};
};

TEST_F(DescribeSystem, TellsOfTheSystemThatRunsThis) {
  const kit::system_facts facts = kit::describe_system();
  ASSERT_TRUE(facts.version && facts.logical_processors && facts.physical_memory && facts.affinity);
  const auto shared = [](std::uintptr_t offset) { return *reinterpret_cast<const ULONG*>(0x7FFE0000 + offset); };
  EXPECT_EQ(facts.version->major, shared(0x26C)) << "the kernel shows it to every process";
  EXPECT_EQ(facts.version->minor, shared(0x270));
  EXPECT_EQ(facts.logical_processors, GetActiveProcessorCount(ALL_PROCESSOR_GROUPS));
  EXPECT_GE(facts.physical_memory, facts.available_memory);
  EXPECT_GE(facts.commit_limit, facts.available_commit);
  EXPECT_GT(facts.committed, 0u);
  EXPECT_EQ(facts.page_size, 4096u);
  EXPECT_EQ(facts.priority, "normal");
  EXPECT_EQ(facts.ansi_code_page, GetACP());
  EXPECT_EQ(facts.oem_code_page, GetOEMCP());
  EXPECT_THAT(facts.instructions, testing::AllOf(testing::HasSubstr("SSE SSE2"), testing::Not(testing::HasSubstr("  ")),
                                                 testing::Not(testing::StartsWith(" "))));
  const bool is_wine = GetProcAddress(GetModuleHandleA("ntdll.dll"), "wine_get_version") != nullptr;
  EXPECT_EQ(facts.wine.empty(), !is_wine);
}

TEST_F(DescribeSystem, WhatTheSystemRefusesIsUnknownAndAllElseIsTold) {
  EXPECT_EQ(lost_without<LONG (*)(RTL_OSVERSIONINFOW*)>(kit_dll, "RtlGetVersion", LONG(0xC0000001)), names{"version"});
  EXPECT_EQ(lost_without<decltype(&RegGetValueW)>(kit_dll, "RegGetValueW", ERROR_ACCESS_DENIED), names{"system"});
  EXPECT_EQ((lost_without<BOOL (*)(HANDLE, USHORT*, USHORT*)>(kit_dll, "IsWow64Process2", FALSE)),
            names{"architecture"});
  EXPECT_EQ(
      lost_without<decltype(&GetLogicalProcessorInformationEx)>(core_dll, "GetLogicalProcessorInformationEx", FALSE),
      (names{"cores", "logical processors", "usable processors"}));
  EXPECT_EQ(lost_without<decltype(&GlobalMemoryStatusEx)>(core_dll, "GlobalMemoryStatusEx", FALSE), names{"memory"});
  EXPECT_EQ(lost_without<decltype(&GlobalMemoryStatusEx)>(kit_dll, "GlobalMemoryStatusEx", FALSE),
            names{"commit limit"});
  EXPECT_EQ(lost_without<decltype(&GetProcessMemoryInfo)>(core_dll, "K32GetProcessMemoryInfo", FALSE),
            names{"committed"});
  EXPECT_EQ(lost_without<decltype(&IsProcessInJob)>(kit_dll, "IsProcessInJob", FALSE), names{"job"});
  EXPECT_EQ(lost_without<decltype(&GetProcessAffinityMask)>(kit_dll, "GetProcessAffinityMask", FALSE),
            names{"affinity"});
  EXPECT_EQ(lost_without<decltype(&GetPriorityClass)>(kit_dll, "GetPriorityClass", 0u), names{"priority"});
  using ask_token = decltype(&GetTokenInformation);
  EXPECT_EQ(lost_without<ask_token>(kit_dll, "GetTokenInformation", FALSE), (names{"elevated", "integrity"}));
  EXPECT_EQ(lost_without<ask_token>(kit_dll, "GetTokenInformation", FALSE, 1), names{"elevated"});
  EXPECT_EQ(lost_without<ask_token>(kit_dll, "GetTokenInformation", FALSE, 2), names{"integrity"});
  EXPECT_EQ(lost_without<decltype(&GetUserDefaultLocaleName)>(kit_dll, "GetUserDefaultLocaleName", 0), names{"locale"});
}

TEST_F(DescribeSystem, OnlyASystemThatSaysSoIsWine) {
  const injected<const char* (*)()> absent(kit_dll, "wine_get_version", [](auto) { return nullptr; });
  EXPECT_EQ(kit::describe_system().wine, "");
}

TEST_F(DescribeSystem, LackOfMemoryIsNotTakenForARefusal) {
  injected<void* (*)(std::size_t)> allocation(core_dll, "_Znwy");
  const names normal = unknown_facts();
  const std::uint64_t all = allocation.calls();
  unsigned thrown = 0;
  for (std::uint64_t nth = 1; nth <= all; ++nth) {
    allocation.reset();
    allocation.handle_with([&](auto original, std::size_t size) {
      return allocation.calls() == nth ? throw std::bad_alloc() : original(size);
    });
    try {
      EXPECT_EQ(unknown_facts(), normal) << "the core could do without";
    } catch (const std::bad_alloc&) {
      ++thrown;
    }
  }
  EXPECT_GT(thrown, 0u);
}

// Wine keeps no limits of jobs, so the whole job is one of the test's.
TEST_F(DescribeSystem, TellsTheLimitsOfTheJobAroundIt) {
  using about_job = decltype(&QueryInformationJobObject);
  const injected<decltype(&IsProcessInJob)> inside(kit_dll, "IsProcessInJob", [](auto, HANDLE, HANDLE job, BOOL* is) {
    EXPECT_EQ(job, nullptr) << "asks for any job";
    return *is = TRUE;
  });
  DWORD set = 0, rate_control = 0;
  const auto answer = [&](auto, HANDLE job, auto question, void* told, DWORD size, DWORD*) {
    EXPECT_EQ(job, nullptr) << "asks about its own job";
    if (question == JobObjectCpuRateControlInformation) {
      EXPECT_EQ(size, sizeof(JOBOBJECT_CPU_RATE_CONTROL_INFORMATION));
      *static_cast<JOBOBJECT_CPU_RATE_CONTROL_INFORMATION*>(told) = {rate_control,
                                                                     {rate_control > 0xF ? 0x138803E8u : 1250u}};
    } else {
      EXPECT_EQ(question, JobObjectExtendedLimitInformation);
      EXPECT_EQ(size, sizeof(JOBOBJECT_EXTENDED_LIMIT_INFORMATION));
      auto& limits = *static_cast<JOBOBJECT_EXTENDED_LIMIT_INFORMATION*>(told);
      limits.BasicLimitInformation = {{}, {}, set, 0, 0, 7, 0x3, 0, 0};
      limits.ProcessMemoryLimit = 1000;
      limits.JobMemoryLimit = 2000;
    }
    return TRUE;
  };
  const auto told = [&](DWORD limits, DWORD rate) {
    set = limits;
    rate_control = rate;
    const std::string text = to_string(kit::describe_system());
    return text.substr(text.find("job: "), text.find("affinity: ") - text.find("job: "));
  };
  const std::string all =
      "job: yes\nmemory of the job: 2000 bytes\nmemory of a process of the job: 1000 bytes\nprocesses of the job: 7\n"
      "processors of the job: 0x3\nprocessor time of the job: 12.50%\n";
  {
    const injected<about_job> job(kit_dll, "QueryInformationJobObject", answer);
    EXPECT_EQ(told(~0u, JOB_OBJECT_CPU_RATE_CONTROL_ENABLE | JOB_OBJECT_CPU_RATE_CONTROL_HARD_CAP), all);
    EXPECT_THAT(told(0, JOB_OBJECT_CPU_RATE_CONTROL_HARD_CAP), testing::HasSubstr("time of the job: 100.00%")) << "off";
    EXPECT_THAT(told(0, 0x11), testing::HasSubstr("time of the job: 50.00%")) << "of a range, the most";
    const std::pair<DWORD, std::string> cases[] = {
        {JOB_OBJECT_LIMIT_JOB_MEMORY, "memory of the job: "},
        {JOB_OBJECT_LIMIT_PROCESS_MEMORY, "memory of a process of the job: "},
        {JOB_OBJECT_LIMIT_ACTIVE_PROCESS, "processes of the job: "},
        {JOB_OBJECT_LIMIT_AFFINITY, "processors of the job: "}};
    for (const auto& [limit, name] : cases) {
      const std::string others = told(~limit, JOB_OBJECT_CPU_RATE_CONTROL_ENABLE);  // weighed only, not capped
      EXPECT_THAT(others, testing::HasSubstr("\n" + name + "unlimited\n"));
      EXPECT_EQ(others.find("unlimited"), others.rfind("unlimited")) << others;
      EXPECT_THAT(others, testing::HasSubstr("processor time of the job: 100.00%"));
    }
  }
  const names limits = {"memory of the job", "memory of a process of the job", "processes of the job",
                        "processors of the job"};
  injected<about_job> job(kit_dll, "QueryInformationJobObject", answer);
  for (const std::uint64_t nth : {1u, 2u}) {
    job.reset();
    job.handle_with(answer);
    job.fail_at(nth, FALSE, ERROR_ACCESS_DENIED);
    EXPECT_EQ(unknown_facts(), nth == 1 ? limits : names{"processor time of the job"});
  }
}

}  // namespace

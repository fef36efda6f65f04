#include "processor.hpp"

#include <i18n/convert.hpp>

#include "check.hpp"
#include "run_example.hpp"

#include <boost/algorithm/string/join.hpp>
#include <boost/json/object.hpp>
#include <boost/json/parse.hpp>

#include <windows.h>

#include <algorithm>
#include <cstdio>
#include <cwchar>
#include <optional>
#include <string>
#include <thread>

namespace json = boost::json;

namespace {

using number = std::optional<unsigned long long>;  // empty if unknown

/// What somebody says of the processor.
struct statement {
  const char* who;
  number processors;
  number megahertz;
  std::string name;
};

unsigned long long count_in(const json::object& facts, const char* name) {
  return facts.at(name).to_number<unsigned long long>();
}

void check_instructions(const json::object& facts) {
  const json::array& features = facts.at("features").as_array();
  check(!facts.at("vendor").as_string().empty(), "a processor has a vendor");
  check(std::find(features.begin(), features.end(), "SSE2") != features.end(), "every x86-64 processor has SSE2");
}

void check_cores(const json::object& facts) {
  const auto physical = count_in(facts, "pCores");
  const auto logical = count_in(facts, "lCores");
  const auto available = count_in(facts, "aCores");
  if (facts.at("detailsValid").as_bool()) {
    check(facts.at("error").is_null(), "no error beside what the system tells");
    check(logical == GetActiveProcessorCount(ALL_PROCESSOR_GROUPS), "the logical processors that the system counts");
    check(physical <= logical && available <= logical, "at most as many cores as logical processors");
    check(facts.at("hyperthreaded").as_bool() == (physical != logical), "hyper-threading as the counts tell it");
  } else {
    const auto assumed = std::thread::hardware_concurrency();
    check(!facts.at("error").as_string().empty(), "why the system does not tell the cores");
    check(physical == assumed && logical == assumed && available == assumed, "the C++ library's count in its place");
  }
  const json::object& concurrency = facts.at("availableConcurrency").as_object();
  check(count_in(concurrency, "physical") == std::min(physical, available) &&
            count_in(concurrency, "logical") == std::min(logical, available),
        "as many threads at once as the process may use of the cores");
  check(count_in(concurrency, "physical") >= 1, "one thread can run");
}

void check_frequency(const json::object& facts) {
  if (facts.at("frequency").is_null()) {
    check(!facts.at("frequencyError").as_string().empty(), "why the frequency is not known");
  } else {
    check(count_in(facts, "frequency") > 0 && facts.at("frequencyError").is_null(), "a frequency, and no error");
  }
}

statement what_sysinfo_says(const json::object& facts) {
  statement said = {"sysinfo", count_in(facts, "lCores"), {}, {}};
  if (!facts.at("frequency").is_null()) {
    said.megahertz = count_in(facts, "frequency") / 1000000;
  }
  if (!facts.at("brand").is_null()) {
    said.name = facts.at("brand").as_string().c_str();
  }
  return said;
}

/// Whether there is such a value and it fits.
bool read_registry(const wchar_t* name, DWORD type, void* value, DWORD size) {
  return RegGetValueW(HKEY_LOCAL_MACHINE, L"HARDWARE\\DESCRIPTION\\System\\CentralProcessor\\0", name, type, nullptr,
                      value, &size) == ERROR_SUCCESS;
}

statement what_the_registry_says() {
  statement said = {"registry, CentralProcessor\\0", {}, {}, {}};
  wchar_t name[256];
  if (read_registry(L"ProcessorNameString", RRF_RT_REG_SZ, name, sizeof name)) {
    said.name = fl::i18n::ustring_to_utf8(fl::ustring(name, name + wcslen(name)));
  }
  DWORD megahertz = 0;
  if (read_registry(L"~MHz", RRF_RT_REG_DWORD, &megahertz, sizeof megahertz)) {
    said.megahertz = megahertz;
  }
  return said;
}

void compare(const json::object& facts) {
  SYSTEM_INFO info;
  GetSystemInfo(&info);
  const auto text = [](const number& n) { return n ? std::to_string(*n) : std::string("-"); };
  std::printf("\n  %-38s%-12s%-7s%s\n", "who", "processors", "MHz", "name");
  for (const statement& said : {
           what_sysinfo_says(facts),
           statement{"std::thread::hardware_concurrency", std::thread::hardware_concurrency(), {}, {}},
           statement{"GetSystemInfo", info.dwNumberOfProcessors, {}, {}},
           statement{"GetActiveProcessorCount, all groups", GetActiveProcessorCount(ALL_PROCESSOR_GROUPS), {}, {}},
           statement{"GetMaximumProcessorCount, all groups", GetMaximumProcessorCount(ALL_PROCESSOR_GROUPS), {}, {}},
           what_the_registry_says(),
       }) {
    std::printf("  %-38s%-12s%-7s%s\n", said.who, text(said.processors).c_str(), text(said.megahertz).c_str(),
                said.name.empty() ? "-" : said.name.c_str());
  }
}

}  // namespace

void show_processor() {
  const run_result table = run_example("sysinfo.exe");
  const run_result machine_readable = run_example("sysinfo.exe", {"--json"});
  check(table.status == 0 && machine_readable.status == 0, "the exit status");
  const json::value parsed = json::parse(boost::algorithm::join(machine_readable.output, "\n"));
  const json::object& facts = parsed.as_object();
  check_instructions(facts);
  check_cores(facts);
  check_frequency(facts);
  check(find(table.output, facts.at("vendor").as_string().c_str()) != table.output.end(), "the vendor in the table");
  print(table.output);
  compare(facts);
}

// How the facts are collected; they are written in ../describe_system.cpp. Each is asked for by itself, and what the
// system refuses stays unknown.
#include <fl/mem/page.hpp>
#include <fl/mem/ram_state.hpp>
#include <fl/mem/stats.hpp>
#include <fl/system/cpu_info.hpp>
#include <fl/system/processor_frequency.hpp>
#include <i18n/convert.hpp>

#include "common/windows/late_function.hpp"
#include "system/fact_names.hpp"

#include <kit/describe_system.hpp>

#include <windows.h>

#include <array>
#include <cstddef>
#include <new>
#include <string_view>

namespace foundation::kit {

namespace {

using core::sysdep::windows::late_function;

// GetVersionEx tells every program the version that its manifest says it was made for.
constinit late_function<LONG(RTL_OSVERSIONINFOW*)> get_version [[gnu::section(".late")]]{"ntdll.dll", "RtlGetVersion"};
// What Wine has and Windows has not.
constinit late_function<const char*()> get_wine_version [[gnu::section(".late")]]{"ntdll.dll", "wine_get_version"};
// The first releases of Windows 10 do not have it.
constinit late_function<BOOL(HANDLE, USHORT*, USHORT*)> get_machines
    [[gnu::section(".late")]]{"kernel32.dll", "IsWow64Process2"};

/// What `ask` returns; nothing if it throws anything but std::bad_alloc.
template <class Ask>
auto if_told(Ask ask) -> std::optional<decltype(ask())> {
  try {
    return ask();
  } catch (const std::bad_alloc&) {
    throw;
  } catch (...) {
    return std::nullopt;
  }
}

std::optional<std::string> named(const char* name) {
  return name != nullptr ? std::optional<std::string>(name) : std::nullopt;
}

std::string utf8(std::wstring_view text) {
  return fl::i18n::ustring_to_utf8(std::u16string(text.begin(), text.end()));
}

// ---- the system ----

constexpr const wchar_t* version_key = L"SOFTWARE\\Microsoft\\Windows NT\\CurrentVersion";

std::optional<std::string> registered_text(const wchar_t* name) {
  std::array<wchar_t, 256> text;
  DWORD size = sizeof text;  // in bytes; afterwards with the zero at the end, which there always is
  if (::RegGetValueW(HKEY_LOCAL_MACHINE, version_key, name, RRF_RT_REG_SZ, nullptr, text.data(), &size) !=
          ERROR_SUCCESS ||
      text[0] == L'\0') {
    return std::nullopt;
  }
  return utf8(text.data());
}

std::optional<std::uint32_t> registered_number(const wchar_t* name) {
  DWORD number = 0;
  DWORD size = sizeof number;
  const LSTATUS status =
      ::RegGetValueW(HKEY_LOCAL_MACHINE, version_key, name, RRF_RT_REG_DWORD, nullptr, &number, &size);
  return status == ERROR_SUCCESS ? std::optional<std::uint32_t>(number) : std::nullopt;
}

std::optional<system_version> version() {
  RTL_OSVERSIONINFOW told = {};
  told.dwOSVersionInfoSize = sizeof told;
  const auto ask = get_version.get();
  if (ask == nullptr || ask(&told) < 0) {
    return std::nullopt;
  }
  return system_version{told.dwMajorVersion, told.dwMinorVersion, told.dwBuildNumber};
}

void tell_system(system_facts& facts) {
  facts.product = registered_text(L"ProductName");
  facts.release = registered_text(L"DisplayVersion");
  if (!facts.release) {
    facts.release = registered_text(L"ReleaseId");  // what it was called before 20H2
  }
  facts.version = version();
  facts.revision = registered_number(L"UBR");
  if (const char* const wine = get_wine_version()) {
    facts.wine = wine;
  }
}

// ---- the processor ----

std::optional<std::string> native_architecture() {
  USHORT emulated = 0, native = 0;
  return get_machines(::GetCurrentProcess(), &emulated, &native) ? named(detail::machine_name(native)) : std::nullopt;
}

/// With one blank between two features, where the core has one at each end of each.
std::string single_spaced(std::string_view features) {
  std::string result;
  for (const char character : features) {
    if (character != ' ' || (!result.empty() && result.back() != ' ')) {
      result += character;
    }
  }
  if (!result.empty() && result.back() == ' ') {
    result.pop_back();
  }
  return result;
}

void tell_processor(system_facts& facts) {
  facts.architecture = detail::machine_name(detail::machine_x86_64);
  facts.native_architecture = native_architecture();
  core::system::CpuInfo info;
  facts.processor = info.instructionSet().brand();
  facts.instructions = single_spaced(info.instructionSet().getFeatureString());
  if (if_told([&] { return info.refresh(), true; })) {
    facts.cores = info.pCores();
    facts.logical_processors = info.lCores();
    facts.usable_processors = info.aCores();
  }
  if (const auto frequency = core::system::getMaximumProcessorFrequency(); frequency.has_value()) {
    facts.frequency = frequency.value();
  }
}

// ---- memory ----

void tell_memory(system_facts& facts) {
  if (const auto ram = if_told([] { return core::mem::RamState(); })) {
    facts.physical_memory = ram->get_total_ram();
    facts.available_memory = ram->get_available_ram();
  }
  MEMORYSTATUSEX status = {};
  status.dwLength = sizeof status;
  if (::GlobalMemoryStatusEx(&status)) {
    facts.commit_limit = status.ullTotalPageFile;
    facts.available_commit = status.ullAvailPageFile;
  }
  if (const auto committed = core::mem::stats::GetStats().GetAlloced()) {  // 0 if the system gives none
    facts.committed = committed;
  }
  facts.page_size = core::mem::get_page_size();
}

// ---- limits and rights ----

template <class Information>
bool ask_job(JOBOBJECTINFOCLASS question, Information& answer) {
  return ::QueryInformationJobObject(nullptr, question, &answer, sizeof answer, nullptr) != FALSE;
}

std::optional<job_restrictions> restrictions_of_job() {
  JOBOBJECT_EXTENDED_LIMIT_INFORMATION told = {};
  if (!ask_job(JobObjectExtendedLimitInformation, told)) {
    return std::nullopt;
  }
  const JOBOBJECT_BASIC_LIMIT_INFORMATION& basic = told.BasicLimitInformation;
  const auto is_set = [&](DWORD limit) { return (basic.LimitFlags & limit) != 0; };
  job_restrictions restrictions;
  if (is_set(JOB_OBJECT_LIMIT_PROCESS_MEMORY)) {
    restrictions.process_memory = told.ProcessMemoryLimit;
  }
  if (is_set(JOB_OBJECT_LIMIT_JOB_MEMORY)) {
    restrictions.job_memory = told.JobMemoryLimit;
  }
  if (is_set(JOB_OBJECT_LIMIT_ACTIVE_PROCESS)) {
    restrictions.active_processes = basic.ActiveProcessLimit;
  }
  if (is_set(JOB_OBJECT_LIMIT_AFFINITY)) {
    restrictions.processors = basic.Affinity;
  }
  return restrictions;
}

std::optional<double> processor_percent_of_job() {
  constexpr DWORD hard_cap = JOB_OBJECT_CPU_RATE_CONTROL_ENABLE | JOB_OBJECT_CPU_RATE_CONTROL_HARD_CAP;
  constexpr DWORD range = JOB_OBJECT_CPU_RATE_CONTROL_ENABLE | 0x10;  // JOB_OBJECT_CPU_RATE_CONTROL_MIN_MAX_RATE
  JOBOBJECT_CPU_RATE_CONTROL_INFORMATION told = {};
  if (!ask_job(JobObjectCpuRateControlInformation, told)) {
    return std::nullopt;
  }
  if ((told.ControlFlags & range) == range) {
    return HIWORD(told.CpuRate) / 100.0;  // The least that it gets stands in the other half.
  }
  return (told.ControlFlags & hard_cap) == hard_cap ? told.CpuRate / 100.0 : 100.0;  // told in hundredths
}

void tell_limits(system_facts& facts) {
  BOOL in_job = FALSE;
  if (::IsProcessInJob(::GetCurrentProcess(), nullptr, &in_job)) {
    facts.in_job = in_job != FALSE;
  }
  if (facts.in_job.value_or(false)) {
    facts.job = restrictions_of_job();
    facts.job_processor_percent = processor_percent_of_job();
  }
  DWORD_PTR own = 0, all = 0;
  if (::GetProcessAffinityMask(::GetCurrentProcess(), &own, &all)) {
    facts.affinity = own;
    facts.system_affinity = all;
  }
  facts.priority = named(detail::priority_name(::GetPriorityClass(::GetCurrentProcess())));
}

std::optional<bool> elevated() {
  TOKEN_ELEVATION told = {};
  DWORD size = 0;
  if (!::GetTokenInformation(::GetCurrentProcessToken(), TokenElevation, &told, sizeof told, &size)) {
    return std::nullopt;
  }
  return told.TokenIsElevated != 0;
}

std::optional<std::string> integrity() {
  alignas(TOKEN_MANDATORY_LABEL) std::array<std::byte, sizeof(TOKEN_MANDATORY_LABEL) + SECURITY_MAX_SID_SIZE> told;
  DWORD size = 0;
  if (!::GetTokenInformation(::GetCurrentProcessToken(), TokenIntegrityLevel, told.data(), sizeof told, &size)) {
    return std::nullopt;
  }
  const PSID level = reinterpret_cast<const TOKEN_MANDATORY_LABEL*>(told.data())->Label.Sid;
  const DWORD last = *::GetSidSubAuthorityCount(level) - 1u;
  return detail::integrity_name(*::GetSidSubAuthority(level, last));
}

void tell_language(system_facts& facts) {
  std::array<wchar_t, LOCALE_NAME_MAX_LENGTH> name;
  if (::GetUserDefaultLocaleName(name.data(), static_cast<int>(name.size())) != 0) {
    facts.locale = utf8(name.data());
  }
  facts.ansi_code_page = ::GetACP();
  facts.oem_code_page = ::GetOEMCP();
}

}  // namespace

system_facts describe_system() {
  system_facts facts;
  tell_system(facts);
  tell_processor(facts);
  tell_memory(facts);
  tell_limits(facts);
  facts.elevated = elevated();
  facts.integrity = integrity();
  tell_language(facts);
  return facts;
}

}  // namespace foundation::kit

// A system with other processors than this one's. Wine does not implement GetProcessGroupAffinity, and few machines
// have several groups of processors or cores of several kinds.
#pragma once

#include "import_patch.hpp"
#include "processor_records.hpp"

#include <windows.h>
#include <powrprof.h>

#include <algorithm>
#include <cstdint>
#include <cstring>
#include <vector>

// Each source has its own: the watched functions are types of the source.
namespace {

class scripted_processors {
  template <class Function, class Tag = decltype([]() -> void {})>
  using injected = test_support::injected<Function, Tag>;
  static constexpr const char* library = "libqxfl.dll";

 public:
  /// A process that may use all of these groups of processors.
  explicit scripted_processors(const std::vector<std::uint8_t>& groups, unsigned threads_of_a_core)
      : records(test_support::processor_records(groups, threads_of_a_core)),
        group_count(static_cast<std::uint16_t>(groups.size())) {
    for (std::uint16_t group = 0; group != group_count; ++group) {
      process_groups.push_back(group);
    }
    attach_affinity();
    attach_records();
    attach_power();
  }

  // The script.
  test_support::record_buffer records;
  test_support::record_buffer cpu_sets;
  std::uint16_t group_count;
  std::vector<std::uint16_t> process_groups;
  std::uint64_t process_mask = ~std::uint64_t{0};

  injected<decltype(&::GetProcessAffinityMask)> affinity{library, "GetProcessAffinityMask"};
  injected<decltype(&::GetActiveProcessorGroupCount)> count_groups{library, "GetActiveProcessorGroupCount"};
  injected<decltype(&::GetProcessGroupAffinity)> group_affinity{library, "GetProcessGroupAffinity"};
  injected<decltype(&::GetLogicalProcessorInformationEx)> processors{library, "GetLogicalProcessorInformationEx"};
  injected<BOOL (*)(void*, ULONG, ULONG*, HANDLE, ULONG)> sets{library, "GetSystemCpuSetInformation"};
  injected<decltype(&::CallNtPowerInformation)> power{library, "CallNtPowerInformation"};

 private:
  static BOOL give(const test_support::record_buffer& told, void* buffer, std::size_t room, ULONG* length) {
    *length = static_cast<ULONG>(told.size());
    if (room < told.size()) {
      ::SetLastError(ERROR_INSUFFICIENT_BUFFER);
      return FALSE;
    }
    std::copy(told.begin(), told.end(), static_cast<std::byte*>(buffer));
    return TRUE;
  }

  void attach_affinity() {
    affinity.handle_with([this](auto, HANDLE, DWORD_PTR* process, DWORD_PTR* machine) {
      *process = process_mask;
      *machine = 255;
      return TRUE;
    });
    count_groups.handle_with([this](auto) { return group_count; });
    group_affinity.handle_with([this](auto, HANDLE, USHORT* count, USHORT* groups) {
      if (*count < process_groups.size()) {
        ::SetLastError(ERROR_INSUFFICIENT_BUFFER);
        return FALSE;
      }
      *count = static_cast<USHORT>(process_groups.size());
      std::copy(process_groups.begin(), process_groups.end(), groups);
      return TRUE;
    });
  }

  void attach_records() {
    processors.handle_with(
        [this](auto, LOGICAL_PROCESSOR_RELATIONSHIP which, SYSTEM_LOGICAL_PROCESSOR_INFORMATION_EX* buffer,
               DWORD* length) { return which == RelationAll && give(records, buffer, buffer ? *length : 0, length); });
    sets.handle_with([this](auto, void* buffer, ULONG room, ULONG* length, HANDLE, ULONG flags) {
      return flags == 0 && give(cpu_sets, buffer, room, length);
    });
  }

  void attach_power() {
    power.handle_with([this](auto, POWER_INFORMATION_LEVEL what, void* input, ULONG input_length, void* output,
                             ULONG output_length) -> LONG {
      if (what != ProcessorInformation || input || input_length != 0) {
        return -1;
      }
      for (ULONG i = 0; i != output_length / 24; ++i) {
        const ULONG record[6] = {i, i == 0 ? 3600u : 5000u, 1111, 2222, 3, 4};
        std::memcpy(static_cast<std::byte*>(output) + i * sizeof record, record, sizeof record);
      }
      return 0;
    });
  }
};

}  // namespace

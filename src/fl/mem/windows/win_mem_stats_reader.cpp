#include "mem/windows/win_mem_stats_reader.hpp"

#include <windows.h>
#include <psapi.h>

std::uint64_t foundation::core::mem::WinMemStatsReader::ReadAlloced() {
  PROCESS_MEMORY_COUNTERS counters = {};
  static_assert(sizeof counters == 72);
  if (!::K32GetProcessMemoryInfo(::GetCurrentProcess(), &counters, sizeof counters)) {
    return 0;
  }
  return counters.PagefileUsage;
}

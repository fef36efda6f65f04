#include <dlmalloc/arena_pages.hpp>

#include "util/process_end.hpp"

#include <windows.h>

namespace foundation::core::mem::dlmalloc::pages {

namespace {

/// The end of the mapping that begins at `start`, all of it committed; null if there is none, or it reaches beyond
/// `limit`. The system describes it in several regions where a client has changed the protection of its pages.
char* end_of_mapping(char* start, const char* limit) noexcept {
  char* end = start;
  MEMORY_BASIC_INFORMATION region;
  while (VirtualQuery(end, &region, sizeof region) != 0 && region.State != MEM_FREE && region.AllocationBase == start) {
    if (region.State != MEM_COMMIT || region.RegionSize > static_cast<std::size_t>(limit - end)) {
      return nullptr;
    }
    end += region.RegionSize;
  }
  return end != start ? end : nullptr;
}

bool is_whole_mappings(char* start, const char* end) noexcept {
  while (start != nullptr && start != end) {
    start = end_of_mapping(start, end);
  }
  return start != nullptr;
}

}  // namespace

geometry ask_geometry() noexcept {
  SYSTEM_INFO system;
  GetSystemInfo(&system);
  return {system.dwPageSize, system.dwAllocationGranularity};
}

void* map(std::size_t size, placement where) noexcept {
  const DWORD high = where == placement::high ? MEM_TOP_DOWN : 0;
  return VirtualAlloc(nullptr, size, MEM_RESERVE | MEM_COMMIT | high, PAGE_READWRITE);
}

bool unmap(void* start, std::size_t size) noexcept {
  char* next = static_cast<char*>(start);
  const char* const end = next + size;
  char* const first_end = end_of_mapping(next, end);
  if (first_end == end) {  // Nearly always, and each question to the system takes its time.
    return VirtualFree(start, 0, MEM_RELEASE) != FALSE;
  }
  if (!is_whole_mappings(first_end, end)) {
    return false;
  }
  bool any_gone = false;
  while (next != end) {
    char* const mapping = next;
    next = end_of_mapping(mapping, end);
    any_gone |= VirtualFree(mapping, 0, MEM_RELEASE) != FALSE;
  }
  return any_gone;
}

std::uint32_t tick_count() noexcept {
  return GetTickCount();
}

void back_off() noexcept {
  constexpr DWORD milliseconds = 50;
  SleepEx(milliseconds, FALSE);
}

bool process_is_ending() noexcept {
  return util::process_is_ending();
}

}  // namespace foundation::core::mem::dlmalloc::pages

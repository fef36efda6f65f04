#include <dlmalloc/pages.hpp>

#include <windows.h>

namespace foundation::core::mem::dlmalloc::pages {

namespace {

/// Whether a whole mapping begins at `start` and ends before `limit` or there; then its size in bytes, else 0.
std::size_t size_of_mapping(const char* start, const char* limit) noexcept {
  MEMORY_BASIC_INFORMATION region;
  if (VirtualQuery(start, &region, sizeof region) == 0 || region.BaseAddress != start ||
      region.AllocationBase != start || region.State != MEM_COMMIT ||
      region.RegionSize > static_cast<std::size_t>(limit - start))
    return 0;
  return region.RegionSize;
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
  while (next != end) {
    const std::size_t mapped = size_of_mapping(next, end);
    if (mapped == 0 || !VirtualFree(next, 0, MEM_RELEASE))
      return false;
    next += mapped;
  }
  return true;
}

std::uint32_t tick_count() noexcept {
  return GetTickCount();
}

void back_off() noexcept {
  constexpr DWORD milliseconds = 50;
  SleepEx(milliseconds, FALSE);
}

}  // namespace foundation::core::mem::dlmalloc::pages

#include "host/arena_pages.hpp"

#include <dlmalloc/arena_pages.hpp>

#include <new>
#include <numeric>

#ifdef _WIN32
#include <windows.h>
#else
#include <sys/mman.h>

#include <sched.h>
#endif

namespace test_support {

namespace {

constexpr std::size_t area_size = std::size_t{1} << 31;

#ifdef _WIN32
char* reserve() {
  return static_cast<char*>(VirtualAlloc(nullptr, area_size, MEM_RESERVE, PAGE_NOACCESS));
}
void commit(char* start, std::size_t size) {
  VirtualAlloc(start, size, MEM_COMMIT, PAGE_READWRITE);
}
void decommit(char* start, std::size_t size) {
  VirtualFree(start, size, MEM_DECOMMIT);
}
#else
char* map_nothing(char* where, std::size_t size, int fixed) {
  return static_cast<char*>(mmap(where, size, PROT_NONE, MAP_PRIVATE | MAP_ANONYMOUS | MAP_NORESERVE | fixed, -1, 0));
}
char* reserve() {
  return map_nothing(nullptr, area_size, 0);
}
void commit(char* start, std::size_t size) {
  mprotect(start, size, PROT_READ | PROT_WRITE);
}
void decommit(char* start, std::size_t size) {
  map_nothing(start, size, MAP_FIXED);
}
#endif

}  // namespace

scripted_pages::scripted_pages() : area_(reserve()) {
  area_ += scripted_pages::granularity - reinterpret_cast<std::uintptr_t>(area_) % granularity;
}

std::size_t scripted_pages::mapped() const {
  return std::accumulate(regions_.begin(), regions_.end(), std::size_t{0},
                         [](std::size_t sum, const auto& region) { return sum + region.second; });
}

void scripted_pages::reset() {
  while (!regions_.empty()) {
    give(regions_.begin()->first, regions_.begin()->second);
  }
  order = page_order::upwards;
  maps_left = UINT64_MAX;
  refuse_unmap = false;
}

/// A free place for the size; null if there is none.
char* scripted_pages::place(std::size_t size) const {
  char* const end = area_ + area_size - 2 * granularity;
  const std::size_t gap = order == page_order::scattered ? granularity : 0;
  if (order == page_order::downwards) {
    char* limit = end;
    for (auto region = regions_.rbegin(); region != regions_.rend(); limit = region->first, ++region) {
      if (region->first + region->second + size <= limit) {
        return limit - size;
      }
    }
    return area_ + size <= limit ? limit - size : nullptr;
  }
  char* start = area_;
  for (const auto& [begin, length] : regions_) {
    if (start + size + gap <= begin) {
      return start;
    }
    start = begin + length + gap;
  }
  return size < area_size && start + size <= end ? start : nullptr;
}

void* scripted_pages::map(std::size_t size) {
  if (maps_left == 0 || size > area_size / 2) {
    return nullptr;
  }
  char* const start = place(size);
  if (start == nullptr) {
    return nullptr;
  }
  --maps_left;
  commit(start, size);
  regions_.emplace(start, size);
  return start;
}

void scripted_pages::give(char* start, std::size_t size) {
  decommit(start, size);
  regions_.erase(start);
}

bool scripted_pages::unmap(void* start, std::size_t size) {
  if (refuse_unmap) {
    return false;
  }
  for (char *next = static_cast<char*>(start), *const end = next + size; next != end;) {
    const auto region = regions_.find(next);
    if (region == regions_.end() || region->second > static_cast<std::size_t>(end - next)) {
      return false;
    }
    const std::size_t mapped = region->second;
    give(next, mapped);
    next += mapped;
  }
  return true;
}

scripted_pages& host_pages() {
  static scripted_pages pages;
  return pages;
}

}  // namespace test_support

namespace foundation::core::mem::dlmalloc::pages {

using test_support::host_pages;

geometry ask_geometry() noexcept {
  return {4096, test_support::scripted_pages::granularity};
}

void* map(std::size_t size, placement) noexcept {
  return host_pages().map(size);
}

bool unmap(void* start, std::size_t size) noexcept {
  return host_pages().unmap(start, size);
}

std::uint32_t tick_count() noexcept {
  return 123456789;
}

void back_off() noexcept {
#ifdef _WIN32
  Sleep(1);
#else
  sched_yield();
#endif
}

bool process_is_ending() noexcept {
  return false;
}

}  // namespace foundation::core::mem::dlmalloc::pages

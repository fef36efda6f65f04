#include "host/arena_pages.hpp"

#include <sys/mman.h>

#include <sched.h>

#include <new>
#include <numeric>

namespace test_support {

namespace {

constexpr std::size_t area_size = std::size_t{1} << 31;

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
  geometry = {4096, granularity};
  order = page_order::upwards;
  maps_left = UINT64_MAX;
  refuse_unmap = false;
}

/// A free place for the size; null if there is none.
char* scripted_pages::place(std::size_t size) const {
  char* const end = area_ + area_size - 2 * granularity;
  const std::size_t gap = order == page_order::scattered ? granularity : 0;
  char* best = nullptr;
  char* start = area_;
  const auto consider = [&](char* limit) {
    if (start + size + gap <= limit) {
      best = order == page_order::downwards ? limit - size : best != nullptr ? best : start;
    }
  };
  for (const auto& [begin, length] : regions_) {
    consider(begin);
    start = begin + length + gap;
  }
  consider(end);
  return best;
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
  return host_pages().geometry;
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
  sched_yield();
}

bool process_is_ending() noexcept {
  return false;
}

}  // namespace foundation::core::mem::dlmalloc::pages

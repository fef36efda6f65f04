#include "host/arena_pages.hpp"

#include <sanitizer/asan_interface.h>
#include <sys/mman.h>

#include <sched.h>

#include <cstring>

namespace test_support {

namespace {

constexpr std::size_t area_size = std::size_t{1} << 36;

/// Address space that is not to be touched, at `where` if it is not null.
char* reserve(char* where, std::size_t size) {
  const int flags = MAP_PRIVATE | MAP_ANONYMOUS | MAP_NORESERVE | (where != nullptr ? MAP_FIXED : 0);
  return static_cast<char*>(mmap(where, size, PROT_NONE, flags, -1, 0));
}

}  // namespace

scripted_pages::scripted_pages() : area_(reserve(nullptr, area_size)) {
  area_ += granularity - reinterpret_cast<std::uintptr_t>(area_) % granularity;
  reset();
}

void scripted_pages::reset() {
  while (!regions_.empty()) {
    give(regions_.begin());
  }
  order = page_order::upwards;
  maps_left = UINT64_MAX;
  refuse_unmap = false;
  low_ = high_ = area_ + area_size / 2;
}

void scripted_pages::stay_mapped() {
  reset();
  stays_mapped_ = mprotect(area_, area_size / 2 + area_size / 4, PROT_READ | PROT_WRITE) == 0;
}

void* scripted_pages::map(std::size_t size) {
  if (maps_left == 0 || size > area_size / 4) {
    return nullptr;
  }
  --maps_left;
  char* start = high_;
  if (order == page_order::downwards) {
    start = low_ -= size;
  } else {
    high_ += size + (order == page_order::scattered ? granularity : 0);
  }
  if (stays_mapped_) {
    ASAN_UNPOISON_MEMORY_REGION(start, size);
    std::memset(start, 0, size);
  } else {
    mprotect(start, size, PROT_READ | PROT_WRITE);
  }
  regions_.emplace(start, size);
  mapped_ += size;
  return start;
}

void scripted_pages::give(regions::iterator region) {
  if (stays_mapped_) {
    ASAN_POISON_MEMORY_REGION(region->first, region->second);
  } else {
    reserve(region->first, region->second);
  }
  mapped_ -= region->second;
  regions_.erase(region);
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
    next += region->second;
    give(region);
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
  sched_yield();
}

bool process_is_ending() noexcept {
  return false;
}

}  // namespace foundation::core::mem::dlmalloc::pages

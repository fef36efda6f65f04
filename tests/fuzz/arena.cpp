// The private arena, driven by a string of operations on a system that gives memory in any order, or none. It validates
// its whole state after each; each block is filled with a byte of its own, by which it shows if two overlap.
#include <dlmalloc/malloc.hpp>

#include "fuzzing.hpp"
#include "host/arena_pages.hpp"

#include <algorithm>
#include <cstring>
#include <memory>
#include <utility>
#include <vector>

namespace {

using namespace foundation::core::mem::dlmalloc;
using test_support::host_pages;

struct block {
  char* begin;
  std::size_t size;
  char fill;
};

std::vector<block> blocks;

bool is_filled(const char* begin, std::size_t size, char fill) {
  return size == 0 || (begin[0] == fill && std::memcmp(begin, begin + 1, size - 1) == 0);
}

void keep(void* made, std::size_t size, std::uint8_t fill) {
  fuzzing::require(reinterpret_cast<std::uintptr_t>(made) % 32 == 0);
  if (made != nullptr) {
    blocks.push_back({static_cast<char*>(made), size, static_cast<char>(fill)});
    std::memset(made, fill, size);
  }
}

block take(std::size_t which) {
  const block taken = std::exchange(blocks[which % blocks.size()], blocks.back());
  blocks.pop_back();
  fuzzing::require(is_filled(taken.begin, taken.size, taken.fill));
  return taken;
}

void resize(block old, std::size_t size, std::uint8_t fill) {
  if (auto* const resized = static_cast<char*>(dlrealloc(old.begin, size))) {
    fuzzing::require(is_filled(resized, std::min(size, old.size), old.fill));
    keep(resized, size, fill);
  } else {
    keep(old.begin, old.size, fill);
  }
}

void operate(fuzzing::input& in) {
  static constexpr unsigned shifts[] = {0, 0, 0, 2, 2, 4, 4, 6, 6, 8};
  const std::uint8_t what = in.ConsumeIntegral<std::uint8_t>(), number = in.ConsumeIntegral<std::uint8_t>();
  constexpr std::size_t mapped_directly = 300'000;
  const std::size_t size =
      number == 255 ? mapped_directly : static_cast<std::size_t>(number) << shifts[what / 8 % std::size(shifts)];
  switch (blocks.empty() ? what % 2 : what % 8) {
    case 0: {
      const auto* const zeros = static_cast<char*>(dlcalloc(1 + what % 3, size));
      fuzzing::require(zeros == nullptr || is_filled(zeros, (1 + what % 3) * size, 0));
      keep(const_cast<char*>(zeros), (1 + what % 3) * size, number);
      break;
    }
    case 1:
    case 2:
    case 3:
      keep(dlmalloc(size), size, number ^ what);
      break;
    case 4:
      resize(take(what / 8), size, number);
      break;
    case 5:
      host_pages().maps_left = number;
      sys_trim(arena);
      validate(arena);
      break;
    default:
      dlfree(take(number).begin);
  }
}

}  // namespace

extern "C" int LLVMFuzzerInitialize(int*, char***) {
  host_pages().stay_mapped();
  return 0;
}

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  fuzzing::input in(data, size);
  std::destroy_at(&arena);
  std::construct_at(&arena);
  host_pages().reset();
  const std::uint8_t setting = in.ConsumeIntegral<std::uint8_t>();
  host_pages().order = static_cast<test_support::page_order>(setting % 3);
  host_pages().refuse_unmap = setting >= 200;
  while (in.remaining_bytes() > 1) {
    operate(in);
  }
  while (!blocks.empty()) {
    dlfree(take(0).begin);
  }
  if (setting < 200) {
    sys_trim(arena);
    validate(arena);
    fuzzing::require(arena.footprint == host_pages().mapped() && arena.footprint == arena.latest.size);
  }
  return 0;
}

// Many threads on one arena. Natively also built with ThreadSanitizer.

#include <dlmalloc/validator.hpp>

#include "seeded_random.hpp"

#include <algorithm>
#include <mutex>
#include <thread>
#include <utility>
#include <vector>

namespace {

using namespace foundation::core::mem::dlmalloc;
using test_support::seeded_random;

/// A block that one thread has made for another.
struct parcel {
  unsigned char* block;
  std::size_t size;
  unsigned char content;  ///< of each byte
};

constexpr unsigned thread_count = 8;
struct {
  std::mutex guard;
  std::vector<parcel> parcels;
} inboxes[thread_count];

void send(seeded_random& random, unsigned from) {
  const std::size_t size = random.chance(1) ? 300'000 : random.between(1, 2000);
  void* const block = random.chance(25) ? dlcalloc(1, size) : dlmalloc(size);
  ASSERT_NE(block, nullptr);
  const auto content = static_cast<unsigned char>(random.bits());
  std::memset(block, content, size);
  auto& inbox = inboxes[(from + random.between(1, 3)) % thread_count];
  const std::lock_guard lock(inbox.guard);
  inbox.parcels.push_back({static_cast<unsigned char*>(block), size, content});
}

/// Checks and frees what has arrived. Some of it is resized before.
void receive(seeded_random& random, unsigned number) {
  std::unique_lock lock(inboxes[number].guard);
  const auto parcels = std::exchange(inboxes[number].parcels, {});
  lock.unlock();
  for (auto [block, size, content] : parcels) {
    if (random.chance(25)) {
      const std::size_t resized = random.between(1, 4000);
      block = static_cast<unsigned char*>(dlrealloc(block, resized));
      size = std::min(size, resized);
    }
    EXPECT_EQ(std::count(block, block + size, content), static_cast<std::ptrdiff_t>(size));
    dlfree(block);
  }
}

void work(unsigned number) {
  seeded_random random(number);
  for (int round = 0; round < 50; ++round) {
    for (int count = 0; count < 60; ++count) {
      send(random, number);
    }
    receive(random, number);
  }
}

TEST(ArenaThreads, HandBlocksToEachOtherUnharmed) {
  {
    std::vector<std::jthread> threads;
    for (unsigned number = 0; number < thread_count; ++number) {
      threads.emplace_back(work, number);
    }
  }
  seeded_random random;
  for (unsigned number = 0; number < thread_count; ++number) {
    receive(random, number);
  }
  sys_trim(arena);
  validate(arena);
  EXPECT_EQ(arena.small_map | arena.tree_map, 0u);
  EXPECT_EQ(arena.victim, nullptr);
  EXPECT_EQ(dlmalloc_footprint(), arena.latest.size) << "other segments have gone back";
}

}  // namespace

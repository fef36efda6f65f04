// Many threads on one arena. Natively also built with ThreadSanitizer.

#include <dlmalloc/validator.hpp>

#include <gtest/gtest.h>

#include <mutex>
#include <random>
#include <thread>
#include <vector>

namespace {

using namespace foundation::core::mem::dlmalloc;

/// A block with its size and with the byte that fills it.
struct parcel {
  unsigned char* block;
  std::size_t size;
  unsigned char content;

  bool is_intact() const {
    return std::all_of(block, block + size, [this](unsigned char byte) { return byte == content; });
  }
};

class inbox {
 public:
  void put(parcel sent) {
    const std::lock_guard guard(mutex_);
    parcels_.push_back(sent);
  }
  std::vector<parcel> take_all() {
    const std::lock_guard guard(mutex_);
    return std::exchange(parcels_, {});
  }

 private:
  std::mutex mutex_;
  std::vector<parcel> parcels_;
};

constexpr unsigned thread_count = 8;

/// What one thread does: makes blocks for its neighbours, and resizes, checks and frees those that it gets.
class worker {
 public:
  worker(std::vector<inbox>& inboxes, unsigned number) : inboxes_(inboxes), number_(number), random_(number) {}

  void run_rounds(int rounds) {
    for (int round = 0; round < rounds; ++round) {
      for (int count = 0; count < 60; ++count) {
        send();
      }
      receive();
    }
  }
  void receive() {
    for (parcel& received : inboxes_[number_].take_all()) {
      damaged += !received.is_intact();
      if (random_() % 4 == 0) {
        resize(received);
      }
      dlfree(received.block);
    }
  }

  unsigned damaged = 0;
  unsigned refused = 0;

 private:
  void send() {
    const std::size_t size = random_() % 100 == 0 ? 300'000 : random_() % 2000 + 1;
    void* const block = random_() % 4 == 0 ? dlcalloc(1, size) : dlmalloc(size);
    if (block == nullptr) {
      ++refused;
      return;
    }
    const auto content = static_cast<unsigned char>(random_());
    std::memset(block, content, size);
    inboxes_[(number_ + 1 + random_() % 3) % thread_count].put({static_cast<unsigned char*>(block), size, content});
  }
  void resize(parcel& received) {
    const std::size_t size = random_() % 4000 + 1;
    received.block = static_cast<unsigned char*>(dlrealloc(received.block, size));
    received.size = std::min(received.size, size);
    damaged += !received.is_intact();
  }

  std::vector<inbox>& inboxes_;
  unsigned number_;
  std::mt19937_64 random_;
};

TEST(ArenaThreads, HandBlocksToEachOtherUnharmed) {
  std::vector<inbox> inboxes(thread_count);
  std::vector<worker> workers;
  for (unsigned number = 0; number < thread_count; ++number) {
    workers.emplace_back(inboxes, number);
  }
  std::vector<std::thread> threads;
  for (worker& each : workers) {
    threads.emplace_back([&each] { each.run_rounds(50); });
  }
  for (std::thread& each : threads) {
    each.join();
  }
  for (worker& each : workers) {
    each.receive();
    EXPECT_EQ(each.damaged, 0u);
    EXPECT_EQ(each.refused, 0u);
  }
  sys_trim(arena);
  validate(arena);
  EXPECT_EQ(arena.small_map | arena.tree_map, 0u);
  EXPECT_EQ(arena.victim, nullptr);
  EXPECT_EQ(dlmalloc_footprint(), arena.latest.size) << "other segments have gone back";
}

}  // namespace

// Work for heaps, the same for each. A heap is a class with static functions
//
//     void* allocate(std::size_t size);    // null if there is no memory
//     void free(void* block);
//
// Every block carries a mark at both of its ends, and a run produces the sum of the marks that it found again. So the
// product cannot be right unless each block was there and was nobody else's.
#pragma once

#include "row.hpp"

#include <algorithm>
#include <array>
#include <atomic>
#include <cstddef>
#include <cstdint>
#include <cstring>
#include <memory>
#include <new>
#include <random>
#include <string>
#include <thread>
#include <utility>
#include <vector>

namespace bench {

using mark = std::uint64_t;

/// Blocks of a heap. They have at least the size of a mark.
template <class Heap>
struct marked {
  struct block {
    char* begin;
    std::size_t size;
  };

  static block take(std::size_t size, mark value) {
    char* const begin = static_cast<char*>(Heap::allocate(size));
    if (begin == nullptr) {
      throw std::bad_alloc();
    }
    std::memcpy(begin, &value, sizeof value);
    std::memcpy(begin + size - sizeof value, &value, sizeof value);
    return {begin, size};
  }

  /// The sum of the marks.
  static mark give_back(const block& old) {
    mark first = 0;
    mark last = 0;
    std::memcpy(&first, old.begin, sizeof first);
    std::memcpy(&last, old.begin + old.size - sizeof last, sizeof last);
    Heap::free(old.begin);
    return first + last;
  }
};

/// Stands in for `marked` where a product is computed without a heap, and counts the bytes of its blocks as if they
/// needed no more than that. Not for several threads.
struct no_heap {
  struct block {
    mark value;
    std::size_t size;
  };

  static block take(std::size_t size, mark value) {
    live += size;
    peak = std::max(peak, live);
    return {value, size};
  }
  static mark give_back(const block& old) {
    live -= old.size;
    return 2 * old.value;
  }

  static inline std::uint64_t live = 0;  ///< bytes
  static inline std::uint64_t peak = 0;  ///< bytes
};

/// One block at a time.
template <class Blocks>
contender pairs(std::size_t size, unsigned count) {
  return {[=](product& result) {
    mark sum = 0;
    for (mark value = 0; value != count; ++value) {
      sum += Blocks::give_back(Blocks::take(size, value));
    }
    result.add_value(sum);
  }};
}

/// Many blocks, and then the first of them goes first.
template <class Blocks>
contender first_in_first_out(std::size_t size, std::size_t count, unsigned rounds) {
  const auto blocks = std::make_shared<std::vector<typename Blocks::block>>(count);
  return {[=](product& result) {
    mark sum = 0;
    for (mark round = 0; round != rounds; ++round) {
      for (auto& one : *blocks) {
        one = Blocks::take(size, round);
      }
      for (const auto& one : *blocks) {
        sum += Blocks::give_back(one);
      }
    }
    result.add_value(sum);
  }};
}

using random_source = std::minstd_rand;

/// Draws a size; each has the same chance.
template <std::size_t Least, std::size_t Most>
std::size_t any_size(random_source& random) {
  return Least + random() % (Most - Least + 1);
}

/// Replaces blocks at random, so that `live` of them are there all the time, from one run to the next.
template <class Blocks>
contender replacing(std::size_t (*size)(random_source&), std::size_t live, unsigned count) {
  struct state {
    random_source random{20240229};
    std::vector<typename Blocks::block> blocks;
  };
  const auto now = std::make_shared<state>();
  now->blocks.reserve(live);
  const auto prepare = [=] {
    while (now->blocks.size() != live) {
      now->blocks.push_back(Blocks::take(size(now->random), now->blocks.size()));
    }
  };
  const auto run = [=](product& result) {
    mark sum = 0;
    for (mark value = 0; value != count; ++value) {
      auto& one = now->blocks[now->random() % live];
      sum += Blocks::give_back(one);
      one = Blocks::take(size(now->random), value);
    }
    result.add_value(sum);
  };
  return {run, prepare};
}

/// Passes things from one thread to one other, and waits while it is full or empty.
template <class Thing>
class ring {
 public:
  void put(const Thing& one) {
    while (written_.load(std::memory_order_relaxed) - read_.load(std::memory_order_acquire) == things_.size()) {
      std::this_thread::yield();
    }
    things_[written_.load(std::memory_order_relaxed) % things_.size()] = one;
    written_.fetch_add(1, std::memory_order_release);
  }
  Thing get() {
    while (written_.load(std::memory_order_acquire) == read_.load(std::memory_order_relaxed)) {
      std::this_thread::yield();
    }
    const Thing one = things_[read_.load(std::memory_order_relaxed) % things_.size()];
    read_.fetch_add(1, std::memory_order_release);
    return one;
  }

 private:
  std::vector<Thing> things_ = std::vector<Thing>(4);
  alignas(64) std::atomic<std::size_t> written_{0};
  alignas(64) std::atomic<std::size_t> read_{0};
};

/// Two threads: what one allocates the other frees. They hand over a hundred blocks at a time: with one at a time the
/// ring would be what they meet at, and how far one is ahead would decide over the figure.
template <class Blocks>
contender passing(std::size_t size, unsigned count) {
  using batch = std::array<typename Blocks::block, 100>;
  return {[=](product& result) {
    const auto exchange = [=](ring<batch>& to, ring<batch>& from) {
      mark sum = 0;
      batch blocks;
      for (mark value = 0; value != count;) {
        for (auto& one : blocks) {
          one = Blocks::take(size, value++);
        }
        to.put(blocks);
        blocks = from.get();
        for (const auto& one : blocks) {
          sum += Blocks::give_back(one);
        }
      }
      return sum;
    };
    ring<batch> there;
    ring<batch> back;
    mark others = 0;
    std::thread other([&] { others = exchange(back, there); });
    const mark own = exchange(there, back);
    other.join();
    result.add_value(own + others);
  }};
}

/// What `passing` must produce.
inline contender expected_of_passing(unsigned count) {
  return {[=](product& result) { result.add_value(mark{2} * count * (count - 1)); }};
}

/// Registers a separate row of work that one thread does. `make.operator()<Blocks>()` gives the contender.
template <class Ours, class Peer, class Make>
void add_heap_row(const std::string& name, Make make) {
  const auto from_its_start = [=](product& result) {
    const contender work = make.template operator()<no_heap>();
    if (work.prepare) {
      work.prepare();
    }
    work.run(result);
  };
  add_separate_row(name, make.template operator()<Ours>(), make.template operator()<Peer>(), {from_its_start});
}

}  // namespace bench

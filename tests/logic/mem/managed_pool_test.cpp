// The pool of blocks, made directly. What it asks of nothrow `operator new` is watched and can be refused.
#include "every_test.hpp"
#include "mem/pooled_pool.hpp"
#include "seeded_random.hpp"

#include <limits>
#include <span>

namespace {

using foundation::core::mem::managed_pool;
using foundation::core::mem::name_this_to_work_around_gdb_bug::pooled_pool;

constexpr std::size_t no_limit = std::size_t{1} << 30;
constexpr std::size_t foot = 16;  // bytes that a block has beyond its chunks

struct block {
  char* begin;
  std::size_t size;
};

// Its blocks are of fixed size: it is used within `operator new`.
struct {
  std::array<block, 2000> blocks;  // that are allocated
  std::size_t count = 0;
  std::vector<std::size_t> asked;  // the sizes since `asked_by` began
  std::size_t limit = no_limit;    // larger requests fail
} heap;

std::span<block> blocks() {
  return {heap.blocks.data(), heap.count};
}

}  // namespace

void* operator new(std::size_t size, const std::nothrow_t&) noexcept {
  heap.asked.push_back(size);
  char* const made = size <= heap.limit ? static_cast<char*>(std::malloc(size)) : nullptr;
  if (made != nullptr) {
    heap.blocks.at(heap.count++) = {made, size};
  }
  return made;
}
void* operator new(std::size_t size) {
  void* const made = std::malloc(size);
  return made != nullptr ? made : throw std::bad_alloc();
}
void operator delete(void* p) noexcept {
  const auto kept = std::find_if(blocks().begin(), blocks().end(), [=](const block& one) { return one.begin == p; });
  if (kept != blocks().end()) {
    *kept = heap.blocks[--heap.count];
  }
  std::free(p);
}
void operator delete(void* p, std::size_t) noexcept {
  operator delete(p);
}
void* operator new[](std::size_t size, const std::nothrow_t& none) noexcept {
  return operator new(size, none);
}
void* operator new[](std::size_t size) {
  return operator new(size);
}
void operator delete[](void* p) noexcept {
  operator delete(p);
}
void operator delete[](void* p, std::size_t) noexcept {
  operator delete(p);
}

namespace {

/// The sizes that `work` asks for.
template <class Work>
std::vector<std::size_t> asked_by(Work work) {
  heap.asked.clear();
  work();
  return heap.asked;
}

std::vector<std::size_t> blocks_of(std::size_t chunk_size, std::vector<std::size_t> chunks) {
  for (std::size_t& one : chunks) {
    one = one * chunk_size + foot;
  }
  return chunks;
}

TEST(PooledPool, RoundsChunksUpAndDoublesItsBlocksUntilTheyReachFourMebibytes) {
  constexpr std::size_t mib = 0x100000;
  const struct {
    std::size_t size, initial_chunks, rounded;
    std::vector<std::size_t> blocks;  // in chunks
  } cases[] = {
      {1, 0, 8, {1, 2, 4, 8}},
      {12, 3, 16, {3, 6, 12}},
      {64, 1, 64, {1, 2, 4}},
      {mib, 1, mib, {1, 2, 4, 4, 4}},
      {mib, 3, mib, {3, 4, 4}},
      {mib, 6, mib, {6, 6}},
      {5 * mib - 7, 2, 5 * mib, {2, 2, 2}},
      {5 * mib, 1, 5 * mib, {1, 1, 1}},
  };
  for (const bool releases : {false, true}) {
    for (const auto& expected : cases) {
      pooled_pool pool(expected.size, expected.initial_chunks);
      std::vector<void*> chunks;
      const auto asked = asked_by([&] {
        for (const std::size_t more : expected.blocks) {
          if (releases) {
            std::for_each(chunks.begin(), chunks.end(), [&](void* chunk) { pool.deallocate(chunk); });
            chunks.clear();
            EXPECT_EQ(pool.release_free_memory(), heap.asked.size() != 0);
            EXPECT_EQ(heap.count, 0U);
          }
          for (std::size_t i = 0; i != more; ++i) {
            ASSERT_NE(chunks.emplace_back(pool.allocate()), nullptr);
          }
        }
      });
      EXPECT_EQ(asked, blocks_of(expected.rounded, expected.blocks)) << expected.size << ' ' << expected.initial_chunks;
    }
    EXPECT_EQ(heap.count, 0U) << "pools free their blocks, although all chunks are handed out";
  }
}

TEST(PooledPool, HalvesABlockThatItDoesNotGetOnceAndForgetsThatWithTheNextRelease) {
  const auto asked = asked_by([] {
    pooled_pool pool(64, 16);
    heap.limit = 0;
    for (int i = 0; i != 3; ++i) {  // 16 and 8, 8 and 4, 4
      EXPECT_EQ(pool.allocate(), nullptr);
    }
    heap.limit = 8 * 64 + foot;
    EXPECT_FALSE(pool.release_free_memory());
    for (int i = 0; i != 9; ++i) {  // 16 and 8, then 16 and 8 again
      EXPECT_NE(pool.allocate(), nullptr);
    }
    heap.limit = no_limit;
  });
  EXPECT_EQ(asked, blocks_of(64, {16, 8, 8, 4, 4, 16, 8, 16, 8}));
}

TEST(PooledPool, KeepsWhatIsHandedOutAfterAChunkWasFreedTwice) {
  for (const auto& [taken, kept] :
       {std::pair<std::size_t, std::size_t>{2, 1}, {3, 1}, {3, 2}, {30000, 1}, {30000, 2}}) {
    pooled_pool pool(64, 30000);
    std::vector<void*> chunks(taken);
    for (void*& chunk : chunks) {
      chunk = pool.allocate();
    }
    for (std::size_t which = kept; which != taken; ++which) {
      pool.deallocate(chunks[which]);
    }
    pool.deallocate(chunks[kept]);  // With one kept, as many came back as were taken, by their number.
    EXPECT_FALSE(pool.release_free_memory()) << taken << " " << kept;
    EXPECT_EQ(heap.count, 1U);
  }
}

TEST(PooledPool, RefusesChunksOfNoBytesAndCannotMakeHugeOnes) {
  EXPECT_THROW(pooled_pool(0, 1), std::invalid_argument);
  constexpr std::size_t most = std::numeric_limits<std::size_t>::max();
  EXPECT_THROW(pooled_pool(most, 1), std::invalid_argument);
  EXPECT_THROW(pooled_pool(most - 22, 1), std::invalid_argument);
  EXPECT_EQ(asked_by([] { EXPECT_EQ(pooled_pool(most - 23, 1).allocate(), nullptr); }), blocks_of(most - 23, {1}));
  EXPECT_EQ(pooled_pool(1, most).allocate(), nullptr);
}

/// What a client does with a pool. Each chunk is filled with a byte of its own, by which it shows if two overlap.
class client {
 public:
  client(managed_pool& pool, std::size_t size) : pool_(pool), size_(size) {}

  const void* take() {
    char* const chunk = static_cast<char*>(pool_.allocate());
    EXPECT_EQ(reinterpret_cast<std::uintptr_t>(chunk) % 8, 0U);
    chunks_.push_back({chunk, ++fill_});
    std::memset(chunk, fill_, size_);
    return chunk;
  }
  void give_back(std::size_t which) {
    const auto [chunk, fill] = std::exchange(chunks_[which], chunks_.back());
    chunks_.pop_back();
    const auto is_mine = [own = static_cast<char>(fill)](char found) { return found == own; };
    EXPECT_TRUE(std::all_of(chunk, chunk + size_, is_mine)) << "somebody has written into a chunk";
    pool_.deallocate(chunk);
  }
  std::size_t count() const { return chunks_.size(); }
  /// Whether a chunk of this block is handed out.
  bool uses(const block& one) const {
    return std::any_of(chunks_.begin(), chunks_.end(), [&](const auto& chunk) {
      return chunk.first >= one.begin && chunk.first < one.begin + one.size;
    });
  }

 private:
  managed_pool& pool_;
  std::size_t size_;
  std::vector<std::pair<char*, unsigned char>> chunks_;
  unsigned char fill_ = 0;
};

/// All blocks without a chunk in use go, and the chunks that stay free come in the order of their addresses.
void check_release(managed_pool& pool, client& user, std::size_t rounded) {
  std::size_t used = 0, chunks = 0;
  for (const block& one : blocks()) {
    used += user.uses(one);
    chunks += user.uses(one) ? (one.size - foot) / rounded : 0;
  }
  const bool has_free = used != heap.count;
  EXPECT_EQ(pool.release_free_memory(), has_free);
  EXPECT_EQ(heap.count, used);
  for (const void* last = nullptr; user.count() != chunks;) {
    const void* const next = user.take();
    EXPECT_LT(std::exchange(last, next), next);
  }
  EXPECT_EQ(heap.count, used) << "those that stay are the used ones";
}

TEST(ManagedPool, HandsOutChunksThatNobodyElseHasAndReleasesEveryBlockThatIsNotInUse) {
  test_support::seeded_random random;
  const struct {
    std::size_t size, rounded, initial_chunks, limit, chunks;
  } cases[] = {
      {8, 8, 1, no_limit, 3000},        {20, 24, 700, no_limit, 3000},
      {64, 64, 20000, no_limit, 30000},  // one block of many parts
      {16, 16, 8, 4 * 16 + foot, 3000},  // many blocks, of four chunks each
      {2000, 2000, 1, no_limit, 20000},  // more memory than is dealt out at once
  };
  for (const auto& one : cases) {
    pooled_pool pool(one.size, one.initial_chunks);
    client user(pool, one.size);
    pool.deallocate(nullptr);
    heap.limit = one.limit;
    for (int round = 0; round != 6; ++round) {
      const std::size_t most = one.chunks >> random.below(4);
      while (user.count() < most) {
        user.take();
      }
      const std::size_t least = user.count() >> random.below(9);
      while (user.count() > least) {
        user.give_back(random.below(user.count()));
      }
      check_release(pool, user, one.rounded);
    }
    heap.limit = no_limit;
  }
  EXPECT_EQ(heap.count, 0U);
}

}  // namespace

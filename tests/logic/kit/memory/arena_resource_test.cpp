// The memory resources: what all of them must do, and what each does by itself.

#include "every_test.hpp"
#include "seeded_random.hpp"

#include <kit/aligned_heap_resource.hpp>
#include <kit/arena_resource.hpp>
#include <kit/locked_resource.hpp>
#include <kit/pool.hpp>
#include <kit/pool_resource.hpp>

namespace {

namespace kit = foundation::kit;
using test_support::seeded_random;

bool is_aligned(const void* p, std::size_t alignment) {
  return reinterpret_cast<std::uintptr_t>(p) % alignment == 0;
}

struct block {
  unsigned char* start;
  std::size_t size, alignment;
  unsigned char content;  ///< of each byte

  block(std::pmr::memory_resource& from, std::size_t bytes, std::size_t boundary, unsigned char filled_with)
      : start(static_cast<unsigned char*>(from.allocate(bytes, boundary))),
        size(bytes),
        alignment(boundary),
        content(filled_with) {
    EXPECT_TRUE(is_aligned(start, alignment)) << size << " bytes at " << alignment;
    std::memset(start, content, size);
  }
  void give_back(std::pmr::memory_resource& to) const {
    EXPECT_EQ(std::count(start, start + size, content), static_cast<std::ptrdiff_t>(size));
    to.deallocate(start, size, alignment);
  }
};

/// Blocks of all sizes and alignments come and go, several hundred at a time.
void exercise(std::pmr::memory_resource& resource, std::uint64_t seed, std::size_t largest) {
  seeded_random random(seed);
  std::vector<block> out;
  for (int round = 0; round < 3000; ++round) {
    if (out.empty() || random.chance(55)) {
      const std::size_t size = random.chance(3) ? random.between(0, largest) : random.between(0, 300);
      const std::size_t alignment = std::size_t{1}
                                    << (random.chance(80) ? random.between(0, 4) : random.between(0, 13));
      out.emplace_back(resource, size, alignment, static_cast<unsigned char>(random.bits()));
    } else {
      std::swap(out[random.between(0, out.size() - 1)], out.back());
      out.back().give_back(resource);
      out.pop_back();
    }
  }
  for (const block& rest : out) {
    rest.give_back(resource);
  }
}

/// Several threads at once, which give back what others have allocated.
void share(std::pmr::memory_resource& resource) {
  constexpr unsigned count = 4;
  std::array<std::atomic<std::pmr::string*>, 64> shelf{};
  std::vector<std::thread> threads;
  std::pmr::polymorphic_allocator<std::pmr::string> allocator(&resource);
  const auto drop = [&](std::pmr::string* text) {
    if (text != nullptr) {
      EXPECT_EQ(text->find_first_not_of(text->front()), text->npos);
      std::destroy_at(text);
      allocator.deallocate(text, 1);
    }
  };
  for (unsigned number = 0; number != count; ++number) {
    threads.emplace_back([&, number] {
      seeded_random random(number);
      for (int round = 0; round < 2000; ++round) {
        std::pmr::string* const made = allocator.allocate(1);
        allocator.construct(made, random.between(1, 500), static_cast<char>('a' + number));
        drop(shelf[random.between(0, shelf.size() - 1)].exchange(made));
      }
    });
  }
  for (std::thread& thread : threads) {
    thread.join();
  }
  for (auto& place : shelf) {
    drop(place);
  }
}

constexpr std::size_t far_too_much = ~std::size_t{0} / 4;

/// What no resource over memory of ours can do. `upstream` does not check alignments.
void refuse_what_cannot_be(std::pmr::memory_resource& resource) {
  for (const std::size_t alignment : {8u, 64u, 4096u}) {
    for (const std::size_t size : {far_too_much, ~std::size_t{0}, ~std::size_t{0} - 8, ~std::size_t{0} - 4096}) {
      EXPECT_THROW(std::ignore = resource.allocate(size, alignment), std::bad_alloc) << size << " at " << alignment;
    }
  }
  for (const std::size_t alignment : {0u, 3u, 48u, 96u}) {
    EXPECT_THROW(std::ignore = resource.allocate(100, alignment), std::invalid_argument) << alignment;
  }
}

TEST(AlignedHeapResource, IsOneForAll) {
  std::pmr::memory_resource& heap = *kit::aligned_heap_resource();
  EXPECT_EQ(&heap, kit::aligned_heap_resource());
  EXPECT_TRUE(heap == *kit::aligned_heap_resource());
  EXPECT_FALSE(heap == *std::pmr::new_delete_resource());
  const block plain(heap, 10, 1, 1);
  EXPECT_TRUE(is_aligned(plain.start, 32)) << "the heap's own boundary";
  plain.give_back(heap);
  exercise(heap, 1, 100'000);
  share(heap);
  refuse_what_cannot_be(heap);
}

TEST(ArenaResource, IsAHeapOfItsOwn) {
  kit::arena_resource arena, other;
  EXPECT_EQ(arena.bytes_reserved(), 0u);
  EXPECT_TRUE(arena == arena);
  EXPECT_FALSE(arena == other);
  const block plain(arena, 10, 1, 1);
  EXPECT_TRUE(is_aligned(plain.start, 32));
  plain.give_back(arena);
  EXPECT_GT(arena.bytes_reserved(), 0u);
  EXPECT_EQ(other.bytes_reserved(), 0u);
  exercise(arena, 2, 1'000'000);
  share(arena);
  refuse_what_cannot_be(arena);
}

TEST(ArenaResource, GivesLargeBlocksBackAtOnceInAnyOrder) {
  constexpr std::size_t large = 1 << 20;
  for (const std::array<int, 3>& order : {std::array{0, 1, 2}, {0, 2, 1}, {1, 0, 2}, {1, 2, 0}, {2, 0, 1}, {2, 1, 0}}) {
    kit::arena_resource arena;
    arena.deallocate(arena.allocate(1), 1);  // From now on large blocks have mappings of their own.
    const std::size_t before = arena.bytes_reserved();
    std::vector<block> blocks;
    for (unsigned char number = 0; number != 3; ++number) {
      blocks.emplace_back(arena, large, 16, number);
    }
    EXPECT_GE(arena.bytes_reserved(), before + 3 * large);
    for (const int number : order) {
      blocks[static_cast<std::size_t>(number)].give_back(arena);
    }
    EXPECT_EQ(arena.bytes_reserved(), before);
  }
}

TEST(Pool, MakesObjectsThatGoBackToIt) {
  kit::pool pool = kit::pool::of<std::string>();
  EXPECT_EQ(pool.chunk_size(), sizeof(std::string));
  kit::pooled_ptr<std::string> text = pool.make<std::string>("a text that is too long to lie within its object");
  const void* const chunk = text.get();
  kit::pool moved = std::move(pool);
  text.reset();
  auto number = moved.make<int>(7);
  EXPECT_EQ(number.get(), chunk) << "the chunk is used again";
  EXPECT_EQ(*number, 7);
  EXPECT_FALSE(moved.release_free_memory()) << "one is out";
  struct thrower {
    thrower() { throw std::range_error("not made"); }
  };
  EXPECT_THROW(moved.make<thrower>(), std::range_error);
  moved.deallocate(nullptr);
  moved.deallocate(moved.allocate());
  number.reset();
  EXPECT_TRUE(moved.release_free_memory()) << "none is out";
}

TEST(Pool, RefusesWhatDoesNotFit) {
  EXPECT_THROW(kit::pool(0), std::invalid_argument);
  EXPECT_THROW(kit::pool(~std::size_t{0}), std::invalid_argument);
  kit::pool small(16);
  struct too_large {
    char content[17];
  };
  EXPECT_THAT([&] { small.make<too_large>(); }, testing::ThrowsMessage<std::invalid_argument>(
                                                    "an object of 17 bytes does not fit into a pool's chunk of 16"));
  kit::pool huge(far_too_much, 1);
  EXPECT_THROW(std::ignore = huge.allocate(), std::bad_alloc);
  EXPECT_THROW((huge.make<char>('x')), std::bad_alloc);
}

/// Notes what it is asked for. Serves one thread at a time, and sees to it that others would come in between.
class watched_resource : public std::pmr::memory_resource {
 public:
  std::vector<std::pair<std::size_t, std::size_t>> out;  ///< sizes and alignments

 private:
  struct visit {
    std::atomic<int>& inside;

    explicit visit(std::atomic<int>& visitors) : inside(visitors) {
      EXPECT_EQ(inside++, 0);
      std::this_thread::yield();
    }
    ~visit() { --inside; }
  };
  std::atomic<int> inside_{0};

  void* do_allocate(std::size_t size, std::size_t alignment) override {
    const visit here(inside_);
    out.emplace_back(size, alignment);
    return std::pmr::new_delete_resource()->allocate(size, alignment);
  }
  void do_deallocate(void* p, std::size_t size, std::size_t alignment) override {
    const visit here(inside_);
    const auto found = std::find(out.begin(), out.end(), std::pair(size, alignment));
    ASSERT_NE(found, out.end()) << size << " bytes at " << alignment;
    out.erase(found);
    std::pmr::new_delete_resource()->deallocate(p, size, alignment);
  }
  bool do_is_equal(const memory_resource& other) const noexcept override { return this == &other; }
};

TEST(PoolResource, LeavesToAnotherWhatDoesNotFit) {
  watched_resource upstream;
  {
    kit::pool_resource pool(48, 10, &upstream);
    EXPECT_EQ(pool.upstream_resource(), &upstream);
    EXPECT_EQ(pool.chunk_size(), 48u);
    EXPECT_TRUE(pool == pool);
    EXPECT_FALSE(pool == upstream);
    const block fits(pool, 48, 8, 1), empty(pool, 0, 1, 2);
    EXPECT_EQ(upstream.out.size(), 0u);
    const block large(pool, 49, 8, 3), aligned(pool, 8, 16, 4);
    EXPECT_THAT(upstream.out, testing::ElementsAre(testing::Pair(49, 8), testing::Pair(8, 16)));
    EXPECT_FALSE(pool.release_free_memory());
    for (const block& each : {fits, empty, large, aligned}) {
      each.give_back(pool);
    }
    EXPECT_TRUE(pool.release_free_memory());
    exercise(pool, 3, 1000);
    kit::locked_resource shared(&pool);
    EXPECT_EQ(shared.upstream_resource(), &pool);
    EXPECT_TRUE(shared == shared);
    EXPECT_FALSE(shared == kit::locked_resource(&pool));
    share(shared);
    exercise(shared, 4, 1000);
  }
  EXPECT_EQ(upstream.out.size(), 0u);
}

TEST(PoolResource, RefusesWhatCannotBe) {
  EXPECT_THROW(kit::pool_resource(0), std::invalid_argument);
  EXPECT_THROW(kit::pool_resource(8, 1, nullptr), std::invalid_argument);
  kit::pool_resource huge(far_too_much, 1, std::pmr::null_memory_resource());
  EXPECT_THROW(std::ignore = huge.allocate(8), std::bad_alloc) << "the default alignment is too much for a pool";
  EXPECT_THROW(std::ignore = huge.allocate(8, 8), std::bad_alloc);
  kit::locked_resource locked(&huge);
  EXPECT_THROW(std::ignore = locked.allocate(8, 8), std::bad_alloc);
  EXPECT_THROW(std::ignore = locked.allocate(8, 8), std::bad_alloc) << "the lock is free again";
}

}  // namespace

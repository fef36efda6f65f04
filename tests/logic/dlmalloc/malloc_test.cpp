// The arena on a scripted system, with the whole state validated after each operation.

#include <dlmalloc/malloc.hpp>

#include "host/arena_pages.hpp"
#include "host/terminate.hpp"
#include "seeded_random.hpp"

#include <gtest/gtest.h>

#include <functional>
#include <map>
#include <memory>
#include <vector>

namespace {

using namespace foundation::core::mem::dlmalloc;
using test_support::host_pages;
using test_support::page_order;

constexpr std::size_t kib = 1024;
constexpr std::size_t mib = kib * kib;

class Arena : public testing::Test {
 protected:
  Arena() { start_again(); }
  ~Arena() override { start_again(); }

  /// An arena without memory.
  static void start_again() {
    std::destroy_at(&arena);
    std::construct_at(&arena);
    host_pages().reset();
    test_support::forget_terminations();
  }

  /// After the last block is freed: all memory is in top or gone.
  static void expect_nothing_lost() {
    sys_trim(arena);
    validate(arena);
    EXPECT_EQ(arena.footprint, host_pages().mapped());
    EXPECT_EQ(arena.footprint, arena.latest.size);
    EXPECT_EQ(arena.top_size, arena.latest.size - first_chunk_offset - top_foot_size);
  }
};

/// What the blocks in use must be: apart from each other and as they were filled. Checks large blocks in samples.
class reference {
 public:
  explicit reference(test_support::seeded_random& random) : random_(random) {}

  std::size_t count() const { return blocks_.size(); }
  std::size_t bytes() const { return bytes_; }
  char* any() { return std::next(blocks_.begin(), static_cast<std::ptrdiff_t>(random_.below(blocks_.size())))->first; }

  /// Takes a block in, which the arena has just made.
  void add(void* made, std::size_t size) {
    char* const block = static_cast<char*>(made);
    ASSERT_EQ(reinterpret_cast<std::uintptr_t>(block) % 32, 0u);
    const auto behind = blocks_.lower_bound(block);
    ASSERT_TRUE(behind == blocks_.end() || block + size <= behind->first);
    ASSERT_TRUE(behind == blocks_.begin() || std::prev(behind)->first + std::prev(behind)->second.size <= block);
    const auto seed = static_cast<unsigned char>(random_.bits());
    blocks_.emplace_hint(behind, block, entry{size, seed});
    bytes_ += size;
    for_each_sample(size, [&](std::size_t at) { block[at] = value(seed, at); });
    for_the_end(size, [&](std::size_t at) { block[at] = value(seed, at); });
  }
  void check_and_remove(char* block) {
    const entry known = blocks_.at(block);
    const auto check = [&](std::size_t at) {
      ASSERT_EQ(block[at], value(known.seed, at)) << at << " of " << known.size;
    };
    for_each_sample(known.size, check);
    for_the_end(known.size, check);
    bytes_ -= known.size;
    blocks_.erase(block);
  }
  /// The block has become `resized` with another size; its content must have come along.
  void move(char* block, void* resized, std::size_t size) {
    const entry known = blocks_.at(block);
    bytes_ -= known.size;
    blocks_.erase(block);
    for_each_sample(std::min(size, known.size), [&](std::size_t at) {
      ASSERT_EQ(static_cast<char*>(resized)[at], value(known.seed, at)) << at << " of " << known.size;
    });
    add(resized, size);
  }

 private:
  struct entry {
    std::size_t size;
    unsigned char seed;
  };

  static char value(unsigned char seed, std::size_t at) { return static_cast<char>(seed + at * 7 + at / 4096); }

  /// All bytes of small blocks; of larger ones some of each page.
  template <class Visit>
  static void for_each_sample(std::size_t size, Visit visit) {
    for (std::size_t at = 0; at < size; at += at < 192 ? 1 : at < 2048 ? 61 : 1000) {
      visit(at);
    }
  }
  template <class Visit>
  static void for_the_end(std::size_t size, Visit visit) {
    for (std::size_t at = size - std::min<std::size_t>(size, 16); at < size; ++at) {
      visit(at);
    }
  }

  test_support::seeded_random& random_;
  std::map<char*, entry> blocks_;
  std::size_t bytes_ = 0;
};

std::size_t random_size(test_support::seeded_random& random) {
  const std::uint64_t kind = random.below(1000);
  const std::size_t limit = kind < 500 ? 300 : kind < 900 ? 4 * kib : kind < 990 ? 64 * kib : 2 * mib;
  return random.below(limit + 1);
}

bool is_zero(const char* block, std::size_t size) {
  return size == 0 || (block[0] == 0 && std::memcmp(block, block + 1, size - 1) == 0);
}

/// One operation. A request that finds no memory must leave everything as it was.
void operate(test_support::seeded_random& random, reference& blocks) {
  const std::size_t size = random_size(random);
  const std::uint64_t what = random.below(100);
  const bool full = blocks.count() > 150 || blocks.bytes() > 8 * mib;
  if (blocks.count() != 0 && (full || what < 40)) {
    char* const block = blocks.any();
    blocks.check_and_remove(block);
    dlfree(block);
  } else if (blocks.count() != 0 && what < 55) {
    char* const block = blocks.any();
    if (void* const resized = dlrealloc(block, size)) {
      blocks.move(block, resized, size);
    }
  } else if (what < 65) {
    const std::size_t count = random.below(8) + 1;
    if (void* const block = dlcalloc(count, size / count)) {
      ASSERT_TRUE(is_zero(static_cast<char*>(block), size / count * count));
      blocks.add(block, size / count * count);
    }
  } else if (void* const block = dlmalloc(size)) {
    blocks.add(block, size);
  }
}

void free_all(reference& blocks) {
  while (blocks.count() != 0) {
    char* const block = blocks.any();
    blocks.check_and_remove(block);
    dlfree(block);
  }
}

class ArenaPlaced : public Arena, public testing::WithParamInterface<page_order> {};

TEST_P(ArenaPlaced, KeepsBlocksApartAndIntactAndLosesNothing) {
  host_pages().order = GetParam();
  test_support::seeded_random random;
  reference blocks(random);
  for (int round = 0; round < 7; ++round) {
    for (int count = 0; count < 100'000 && !HasFatalFailure(); ++count) {
      operate(random, blocks);
    }
    free_all(blocks);
    expect_nothing_lost();
    ASSERT_FALSE(HasFailure()) << "round " << round;
  }
}

INSTANTIATE_TEST_SUITE_P(Orders, ArenaPlaced,
                         testing::Values(page_order::upwards, page_order::downwards, page_order::scattered));

TEST_F(Arena, IsUnharmedWhenTheSystemHasNoMemoryOrTakesNoneBack) {
  for (std::uint64_t maps = 0; maps < 40; ++maps) {
    start_again();
    host_pages().order = maps % 2 == 0 ? page_order::upwards : page_order::scattered;
    host_pages().maps_left = maps;
    host_pages().refuse_unmap = maps % 3 == 0;
    test_support::seeded_random random(maps);
    reference blocks(random);
    for (int count = 0; count < 2000 && !HasFatalFailure(); ++count) {
      operate(random, blocks);
    }
    EXPECT_EQ(maps == 0, blocks.count() == 0);
    free_all(blocks);
    host_pages().refuse_unmap = false;
    if (maps % 3 != 0 && maps != 0) {
      expect_nothing_lost();
    }
    host_pages().maps_left = 1;
    void* const again = dlmalloc(100);
    EXPECT_NE(again, nullptr);
  }
}

TEST_F(Arena, ServesTheSmallestAndRefusesTheLargestSizes) {
  for (const std::size_t size : {std::size_t{0}, std::size_t{1}, std::size_t{23}, std::size_t{24}}) {
    void* const block = dlmalloc(size);
    ASSERT_NE(block, nullptr);
    EXPECT_EQ(chunk::of(block)->size(), 32u) << size;
  }
  EXPECT_EQ(chunk::of(dlmalloc(25))->size(), 64u);
  void* const block = dlmalloc(10);
  const std::size_t footprint = dlmalloc_footprint();
  for (const std::size_t size :
       {0 - std::size_t{1}, 0 - std::size_t{128}, 0 - std::size_t{129}, std::size_t{1} << 63}) {
    EXPECT_EQ(dlmalloc(size), nullptr) << size;
    EXPECT_EQ(dlcalloc(1, size), nullptr) << size;
    EXPECT_EQ(dlrealloc(block, size), nullptr) << size;
  }
  EXPECT_EQ(dlcalloc(std::size_t{1} << 32, (std::size_t{1} << 32) + 1), nullptr);
  EXPECT_EQ(dlmalloc_footprint(), footprint);
}

TEST_F(Arena, GivesLargeBlocksMappingsOfTheirOwnWhichGoBackAtOnce) {
  void* const first = dlmalloc(1);
  const std::size_t footprint = dlmalloc_footprint();
  EXPECT_EQ(footprint, 64 * kib);
  void* const below = dlmalloc(default_mmap_threshold - 64);
  EXPECT_FALSE(chunk::of(below)->is_mapped());
  const std::size_t grown = dlmalloc_footprint();
  for (const std::size_t size : {default_mmap_threshold, 3 * mib}) {
    char* const block = static_cast<char*>(dlmalloc(size));
    EXPECT_TRUE(chunk::of(block)->is_mapped());
    EXPECT_TRUE(is_zero(block, size));
    EXPECT_EQ(dlrealloc(block, size - 10'000), block) << "not worth moving";
    block[0] = 'x';
    char* const small = static_cast<char*>(dlrealloc(block, 100));
    EXPECT_EQ(small[0], 'x');
    EXPECT_EQ(dlmalloc_footprint(), grown);
    EXPECT_EQ(host_pages().mapped(), grown);
    dlfree(small);
  }
  EXPECT_GE(dlmalloc_max_footprint(), grown + 3 * mib);
  dlfree(below);
  dlfree(first);
  dlfree(nullptr);
}

TEST_F(Arena, GrowsInPlaceIntoWhatIsFreeBehind) {
  char* const block = static_cast<char*>(dlmalloc(1000));
  EXPECT_EQ(dlrealloc(block, 5000), block) << "top";
  void* const behind = dlmalloc(1000);
  void* const guard = dlmalloc(1000);
  EXPECT_NE(guard, nullptr);
  dlfree(behind);
  EXPECT_EQ(dlrealloc(block, 5500), block) << "a chunk of a bin, in part";
  EXPECT_EQ(dlrealloc(block, 5990), block) << "and the rest of it";
  EXPECT_EQ(dlrealloc(block, 0), block);
  EXPECT_EQ(chunk::of(block)->size(), 32u);
  void* const victim_maker = dlmalloc(40);  // Splits what has been freed, whose rest is the designated victim.
  EXPECT_EQ(victim_maker, block + 32);
  EXPECT_EQ(dlrealloc(victim_maker, 2000), victim_maker) << "the victim, in part";
  const std::size_t all = chunk::of(victim_maker)->size() + arena.victim_size;
  EXPECT_EQ(dlrealloc(victim_maker, all - chunk_overhead), victim_maker) << "and the rest of it";
  EXPECT_EQ(arena.victim, nullptr);
}

// ---- corruption ----

struct damage {
  const char* what;
  std::function<void()> run;
  const char* noticed_in;  ///< part of the signature in the report
};

/// Blocks next to each other, each followed by one that stays in use.
struct neighbours {
  char *first, *second, *third, *guard;

  explicit neighbours(std::size_t size) : first(make(size)), second(make(size)), third(make(size)), guard(make(size)) {}
  static char* make(std::size_t size) { return static_cast<char*>(dlmalloc(size)); }
};

void free_twice(char* block) {
  dlfree(block);
  dlfree(block);
}

/// Writes beyond a block whose neighbour is free, and asks for another block.
void overrun(std::size_t size) {
  const neighbours blocks(size);
  dlfree(blocks.second);
  std::memset(blocks.first, 0x55, chunk::of(blocks.first)->size());
  dlmalloc(16);
}

const std::vector<damage> damages = {
    {"double free, small", [] { free_twice(neighbours(100).second); }, "require_used"},
    {"double free, large", [] { free_twice(neighbours(1000).second); }, "require_used"},
    {"double free, joined to top", [] { free_twice(neighbours(100).guard); }, "require_used"},
    {"double free, joined to the free chunk before",
     [] {
       const neighbours blocks(1000);
       dlfree(blocks.first);
       free_twice(blocks.second);
     },
     "require_used"},
    {"double free, joined to the free chunk behind",
     [] {
       const neighbours blocks(1000);
       dlfree(blocks.second);
       free_twice(blocks.first);
     },
     "require_used"},
    {"resize after free",
     [] {
       const neighbours blocks(100);
       dlfree(blocks.second);
       dlrealloc(blocks.second, 500);
     },
     "require_used"},
    {"pointer before the arena",
     [] {
       const neighbours blocks(100);
       dlfree(reinterpret_cast<char*>(0x10020));
     },
     "require_used"},
    {"pointer without an arena",
     [] {
       static char here[64];
       dlfree(here + 32 - reinterpret_cast<std::uintptr_t>(here) % 32);
     },
     "require_used"},
    {"misaligned pointer", [] { dlfree(neighbours(100).second + 16); }, "require_used"},
    {"head overwritten with zeros",
     [] {
       const neighbours blocks(100);
       chunk::of(blocks.second)->head = 0;
       dlfree(blocks.second);
     },
     "unmap_directly"},
    {"size too large by one unit",
     [] {
       const neighbours blocks(100);
       std::memset(blocks.third - 8, 0, 8);
       dlfree(blocks.second);
     },
     "release_chunk"},
    {"size that wraps",
     [] {
       const neighbours blocks(100);
       chunk::of(blocks.second)->head = (0 - std::size_t{64}) | 3;
       dlfree(blocks.second);
     },
     "release_chunk"},
    {"size of the chunk before is wrong",
     [] {
       const neighbours blocks(1000);
       dlfree(blocks.first);
       chunk::of(blocks.second)->previous_size += 32;
       dlfree(blocks.second);
     },
     "release_chunk"},
    {"next link of a small chunk",
     [] {
       const neighbours blocks(100);
       dlfree(blocks.second);
       chunk::of(blocks.second)->next = reinterpret_cast<chunk*>(0x10);
       dlmalloc(100);
     },
     "remove_first_small"},
    {"previous link of a small chunk",
     [] {
       const neighbours blocks(100);
       dlfree(blocks.second);
       chunk::of(blocks.second)->previous = chunk::of(blocks.guard);
       dlfree(blocks.third);
     },
     "unlink_from_small_bin"},
    {"child of a tree chunk",
     [] {
       const neighbours blocks(1000);
       dlfree(blocks.second);
       static_cast<tree_chunk*>(chunk::of(blocks.second))->child[1] = reinterpret_cast<tree_chunk*>(0x10);
       dlmalloc(900);
     },
     "remove_leaf"},
    {"parent of a tree chunk",
     [] {
       const neighbours blocks(1000);
       dlfree(blocks.second);
       static_cast<tree_chunk*>(chunk::of(blocks.second))->parent = reinterpret_cast<tree_chunk*>(0x10);
       dlmalloc(1000);
     },
     "replace_node"},
    {"overrun into a free neighbour", [] { overrun(1000); }, "find_in_index"},
    {"overrun into a larger free neighbour", [] { overrun(5000); }, "remove_of_size"},
};

TEST_F(Arena, DamageEndsInTheReportOfThePlaceThatFoundIt) {
  for (const damage& each : damages) {
    SCOPED_TRACE(each.what);
    start_again();
    try {
      each.run();
      ADD_FAILURE() << "not found";
    } catch (const test_support::termination& report) {
      EXPECT_EQ(report.message, "dlmalloc error");
      EXPECT_EQ(report.file, "dlmalloc/include/dlmalloc/malloc");
      EXPECT_GT(report.line, 0);
      EXPECT_NE(report.function.find(each.noticed_in), std::string::npos) << report.function;
    }
  }
}

TEST_F(Arena, TheValidatorSeesEveryKindOfWrongState) {
  const struct {
    const char* what;
    std::function<void()> smash;
  } states[] = {
      {"top's size", [] { arena.top_size += 32; }},
      {"top's foot", [] { arena.top->following()->head = 0; }},
      {"victim's size", [] { arena.victim_size += 32; }},
      {"small map", [] { arena.small_map ^= bit_of(4); }},
      {"tree map", [] { arena.tree_map ^= bit_of(20); }},
      {"footprint", [] { arena.footprint += 1; }},
      {"a chunk left out of its bin", [] { unlink_chunk(arena, arena.small_bins[4].next, 128); }},
      {"a segment's record", [] { arena.latest.next->size += 32; }},
      {"a ring", [] { arena.tree_bins[std::countr_zero(arena.tree_map)]->next->previous = nullptr; }},
  };
  for (const auto& state : states) {
    SCOPED_TRACE(state.what);
    start_again();
    host_pages().order = page_order::scattered;
    const neighbours small(100), large(1000), more(40'000);
    dlfree(small.first);
    dlfree(large.first);
    dlfree(more.first);
    dlmalloc(40);  // From a larger chunk, whose rest is the designated victim.
    ASSERT_NE(arena.victim, nullptr);
    dlfree(small.third);
    ASSERT_NO_THROW(validate(arena));
    state.smash();
    EXPECT_THROW(validate(arena), test_support::termination);
  }
}

}  // namespace

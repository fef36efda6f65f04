// The arena on a scripted system, with the whole state validated after each operation.

#include <dlmalloc/malloc.hpp>

#include "every_test.hpp"
#include "host/arena_pages.hpp"
#include "host/terminate.hpp"
#include "seeded_random.hpp"

namespace {

using namespace foundation::core::mem::dlmalloc;
using test_support::host_pages;
using test_support::page_order;
using namespace testing;

constexpr std::size_t kib = 1024;
constexpr std::size_t mib = kib * kib;

class Arena : public Test {
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

bool is_filled(const char* block, std::size_t size, char fill) {
  return size == 0 || (block[0] == fill && std::memcmp(block, block + 1, size - 1) == 0);
}

/// Uses the arena at random. Each block is filled with a byte of its own, by which it shows if two overlap, or if one
/// is not moved whole.
class client {
 public:
  explicit client(test_support::seeded_random& random) : random_(random) {}

  bool has_blocks() const { return !blocks_.empty(); }

  /// One operation. A request that finds no memory must leave everything as it was.
  void operate() {
    const std::size_t size = any_size();
    const std::uint64_t what = random_.below(100);
    const bool full = blocks_.size() > 150 || bytes_ > 8 * mib;
    if (has_blocks() && (full || what < 40)) {
      dlfree(take().begin);
    } else if (has_blocks() && what < 55) {
      const block old = take();
      if (char* const resized = static_cast<char*>(dlrealloc(old.begin, size))) {
        ASSERT_TRUE(is_filled(resized, std::min(size, old.size), old.fill));
        keep(resized, size);
      } else {
        keep(old.begin, old.size);
      }
    } else if (what < 65) {
      const std::size_t count = random_.between(1, 8);
      char* const zeros = static_cast<char*>(dlcalloc(count, size / count));
      ASSERT_TRUE(zeros == nullptr || is_filled(zeros, size / count * count, 0));
      keep(zeros, size / count * count);
    } else {
      keep(dlmalloc(size), size);
    }
  }
  void free_all() {
    while (has_blocks()) {
      dlfree(take().begin);
    }
  }

 private:
  struct block {
    char* begin;
    std::size_t size;
    char fill;
  };

  std::size_t any_size() {
    const std::uint64_t kind = random_.below(1000);
    const std::size_t limit = kind < 500 ? 300 : kind < 900 ? 4 * kib : kind < 990 ? 64 * kib : 2 * mib;
    return random_.below(limit + 1);
  }
  void keep(void* made, std::size_t size) {
    ASSERT_EQ(reinterpret_cast<std::uintptr_t>(made) % 32, 0u);
    if (made != nullptr) {
      blocks_.push_back({static_cast<char*>(made), size, static_cast<char>(random_.bits())});
      std::memset(made, blocks_.back().fill, size);
      bytes_ += size;
    }
  }
  /// Checks any block and gives it up.
  block take() {
    const block taken = std::exchange(blocks_[random_.below(blocks_.size())], blocks_.back());
    blocks_.pop_back();
    bytes_ -= taken.size;
    EXPECT_TRUE(is_filled(taken.begin, taken.size, taken.fill)) << taken.size;
    return taken;
  }

  test_support::seeded_random& random_;
  std::vector<block> blocks_;
  std::size_t bytes_ = 0;  ///< of all blocks
};

TEST_F(Arena, KeepsBlocksApartAndIntactAndLosesNothing) {
  for (const page_order order : {page_order::upwards, page_order::downwards, page_order::scattered}) {
    start_again();
    host_pages().order = order;
    test_support::seeded_random random;
    client user(random);
    for (int round = 0; round < 3; ++round) {
      for (int count = 0; count < 25'000 && !HasFailure(); ++count) {
        user.operate();
      }
      user.free_all();
      expect_nothing_lost();
      ASSERT_FALSE(HasFailure()) << "round " << round;
    }
  }
}

TEST_F(Arena, IsUnharmedWhenTheSystemHasNoMemoryOrTakesNoneBack) {
  for (std::uint64_t maps = 0; maps < 40; ++maps) {
    start_again();
    host_pages().order = maps % 2 == 0 ? page_order::upwards : page_order::scattered;
    host_pages().maps_left = maps;
    host_pages().refuse_unmap = maps % 3 == 0;
    test_support::seeded_random random(maps);
    client user(random);
    for (int count = 0; count < 2000 && !HasFailure(); ++count) {
      user.operate();
    }
    EXPECT_EQ(maps != 0, user.has_blocks());
    user.free_all();
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
  EXPECT_EQ(dlmalloc_footprint(), 64 * kib);
  void* const below = dlmalloc(default_mmap_threshold - 64);
  EXPECT_FALSE(chunk::of(below)->is_mapped());
  const std::size_t grown = dlmalloc_footprint();
  for (const std::size_t size : {default_mmap_threshold - chunk_overhead, 3 * mib}) {
    char* const block = static_cast<char*>(dlmalloc(size));
    EXPECT_TRUE(chunk::of(block)->is_mapped());
    EXPECT_TRUE(is_filled(block, size, 0));
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

TEST_F(Arena, TreeBinsHalveEachPowerOfTwoAndSplitByTheBitThatHalvesTheBin) {
  for (unsigned bin = 0; bin < tree_bin_count - 1; ++bin) {
    const std::size_t half = std::size_t{64} << bin / 2, begin = half * (4 + bin % 2 * 2);
    EXPECT_TRUE(tree_bin_of(begin) == bin && tree_bin_of(begin + 2 * half - 1) == bin) << bin;
    EXPECT_TRUE(top_bit(deciding_bits(begin + half - 1, bin)) == 0 && top_bit(deciding_bits(begin + half, bin)) == 1);
  }
  EXPECT_EQ(tree_bin_of(SIZE_MAX), tree_bin_count - 1);
  EXPECT_EQ(top_bit(deciding_bits(std::size_t{1} << 63, tree_bin_count - 1)), 1u);
}

TEST_F(Arena, TakesTheBestFitOfTheLargeFreeChunksBeforeNewMemory) {
  test_support::seeded_random random;
  for (int round = 0; round < 300; ++round) {
    start_again();
    std::map<std::size_t, void*> free_chunks;
    for (int count = 0; count < 12; ++count) {
      void* const block = dlmalloc(random.between(2 * kib, 40 * kib));
      free_chunks.emplace(chunk::of(block)->size(), block);
      EXPECT_NE(dlmalloc(1), nullptr) << "which keeps them apart";
    }
    for (const auto& [size, block] : free_chunks) {
      dlfree(block);
    }
    const std::size_t wanted = random.between(2 * kib, free_chunks.rbegin()->first - chunk_overhead);
    EXPECT_EQ(dlmalloc(wanted), free_chunks.lower_bound(wanted + chunk_overhead)->second);
  }
}

// ---- corruption ----

/// Blocks in a row.
struct row {
  char *first, *second, *third, *guard;

  explicit row(std::size_t size) : first(make(size)), second(make(size)), third(make(size)), guard(make(size)) {}
  static char* make(std::size_t size) { return static_cast<char*>(dlmalloc(size)); }
};

void nothing(row&) {}
void free_second(row& r) {
  dlfree(r.second);
}
/// Writes over the head behind the first block.
void overrun(row& r) {
  std::memset(r.first, 0x55, chunk::of(r.first)->size());
}
tree_chunk* second_in_tree(row& r) {
  return static_cast<tree_chunk*>(chunk::of(r.second));
}

const struct {
  const char* what;
  std::size_t size;    ///< of each block
  char* row::* freed;  ///< before all else, unless it is null
  void (*damage)(row&);
  void (*use)(row&);
  const char* noticed_in;  ///< part of the signature in the report
} damages[] = {
    {"double free, small", 100, &row::second, nothing, free_second, "require_used"},
    {"double free, joined to top", 100, &row::guard, nothing, [](row& r) { dlfree(r.guard); }, "require_used"},
    {"double free, joined to the one before", 1000, &row::first, free_second, free_second, "require_used"},
    {"resize after free", 100, &row::second, nothing, [](row& r) { dlrealloc(r.second, 500); }, "require_used"},
    {"before the arena", 100, nullptr, nothing, [](row&) { dlfree(reinterpret_cast<char*>(0x10020)); }, "require_used"},
    {"misaligned pointer", 100, nullptr, nothing, [](row& r) { dlfree(r.second + 16); }, "require_used"},
    {"zeros for a head", 100, nullptr, [](row& r) { chunk::of(r.second)->head = 0; }, free_second, "unmap_directly"},
    {"size too large", 100, nullptr, [](row& r) { std::memset(r.third - 8, 0, 8); }, free_second, "release_chunk"},
    {"size of the chunk before", 1000, &row::first, [](row& r) { chunk::of(r.second)->previous_size += 32; },
     free_second, "release_and_merge"},
    {"next link of a small chunk", 100, &row::second,
     [](row& r) { chunk::of(r.second)->next = reinterpret_cast<chunk*>(0x10); }, [](row&) { dlmalloc(100); },
     "remove_first_small"},
    {"previous link of the first in a bin", 100, &row::first,
     [](row& r) { chunk::of(r.first)->previous = chunk::of(r.guard); }, [](row& r) { dlfree(r.third); },
     "insert_small"},
    {"previous link of a small chunk", 100, &row::second,
     [](row& r) { chunk::of(r.second)->previous = chunk::of(r.guard); }, [](row& r) { dlfree(r.third); },
     "unlink_from_small_bin"},
    {"child of a tree chunk", 1000, &row::second,
     [](row& r) { second_in_tree(r)->child[1] = reinterpret_cast<tree_chunk*>(0x10); }, [](row&) { dlmalloc(900); },
     "remove_leaf"},
    {"parent of a tree chunk", 1000, &row::second,
     [](row& r) { second_in_tree(r)->parent = reinterpret_cast<tree_chunk*>(0x10); }, [](row&) { dlmalloc(1000); },
     "replace_node"},
    {"next link of a tree chunk", 1000, &row::second,
     [](row& r) { second_in_tree(r)->next = reinterpret_cast<chunk*>(0x10); }, [](row&) { dlmalloc(1000); },
     "remove_of_size"},
    {"previous link of the only one of its size", 1000, &row::first,
     [](row& r) { chunk::of(r.first)->previous = chunk::of(r.guard); }, [](row& r) { dlfree(r.third); }, "join_ring"},
    {"overrun into a free chunk", 1000, &row::second, overrun, [](row&) { dlmalloc(16); }, "find_in_index"},
};

TEST_F(Arena, DamageEndsInTheReportOfThePlaceThatFoundIt) {
  using test_support::termination;
  for (const auto& each : damages) {
    SCOPED_TRACE(each.what);
    start_again();
    row blocks(each.size);
    const auto run = [&] {
      dlfree(each.freed != nullptr ? blocks.*each.freed : nullptr);
      each.damage(blocks);
      each.use(blocks);
    };
    EXPECT_THAT(run, Throws<termination>(AllOf(Field(&termination::message, "dlmalloc error"),
                                               Field(&termination::file, "dlmalloc/include/dlmalloc/malloc"),
                                               Field(&termination::line, Gt(0)),
                                               Field(&termination::function, HasSubstr(each.noticed_in)))));
  }
}

TEST_F(Arena, TheValidatorSeesEveryKindOfWrongState) {
  const struct {
    const char* what;
    void (*smash)();
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
    const row small(100), large(1000), more(40'000);
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

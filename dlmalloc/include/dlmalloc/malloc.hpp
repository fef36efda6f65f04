// The private arena: a heap whose blocks all start at a multiple of 32 bytes and have no header of their own beyond the
// word that every allocator needs. To be included by one source, which gets an arena of its own.
//
// The algorithm is Doug Lea's ("A Memory Allocator", version 2.8). Memory is cut into chunks that lie next to each
// other in segments; a chunk knows its size and whether the chunk before it is in use, and a free chunk repeats its
// size at its end, so that neighbours merge at once when they become free (boundary tags). No two neighbours are ever
// both free. Free chunks are kept in
//
//   small bins          one ring for each size up to 224 bytes, the latest first;
//   tree bins           32 bitwise tries for ranges of larger sizes; chunks of one size form a ring, of which one
//                       chunk is a node of the trie;
//   designated victim   the remainder of the latest split, which small requests prefer, for locality;
//   top                 the chunk at the end of the latest segment; used when nothing else fits, and never in a bin.
//
// A request gets the best fit, and the rest of a chunk goes back as a chunk of its own. What nothing can serve comes
// from the system: as a new segment, or from 256 KiB on as a mapping of its own, which goes back as soon as it is
// freed.
//
//     in use:  | size of the chunk before, if that is free | size and flags | block ...            |
//     free:    | (the chunk before is in use)              | size and flags | next | previous | …  | size |
//
// The word of the size before belongs to the block before while that is in use, so a block costs 8 bytes. Chunks start
// 16 bytes before a multiple of 32.
//
// A link, flag or address that cannot be right ends the process by `diag::terminate`, "dlmalloc error". With
// DLMALLOC_CHECKING defined, the whole state is validated (validator.hpp) after each operation.
//
// Thread safety: the entry points at the end may be called from any thread; a spin lock serialises them.
#pragma once

#include <dlmalloc/arena_pages.hpp>
#include <fl/diag/terminate.hpp>

#include <immintrin.h>

#include <algorithm>
#include <atomic>
#include <bit>
#include <cstddef>
#include <cstdint>
#include <cstring>
#include <mutex>
#include <source_location>

namespace foundation::core::mem::dlmalloc {

namespace {

// ---- sizes, all in bytes ----

constexpr std::size_t word_size = sizeof(std::size_t);
constexpr std::size_t block_alignment = 32;
constexpr std::size_t chunk_overhead = word_size;       ///< what a chunk has over its block
constexpr std::size_t block_offset = 2 * word_size;     ///< from the start of a chunk to its block
constexpr std::size_t min_chunk_size = 4 * word_size;   ///< what a free chunk needs for its links
constexpr std::size_t mapped_overhead = 2 * word_size;  ///< what a directly mapped chunk has over its block
constexpr std::size_t mapped_foot = 4 * word_size;      ///< behind a directly mapped chunk, for its fencepost
constexpr std::size_t first_chunk_offset = block_alignment - block_offset;  ///< in a segment
constexpr std::size_t max_request = std::size_t{0} - 4 * min_chunk_size;    ///< what is refused at once
constexpr std::size_t no_size = ~std::size_t{0};

constexpr std::size_t default_mmap_threshold = std::size_t{256} * 1024;
constexpr std::size_t default_trim_threshold = std::size_t{2} * 1024 * 1024;
constexpr std::size_t max_release_check_rate = 4095;  ///< frees of large chunks between two looks for idle segments

constexpr std::size_t round_up(std::size_t size, std::size_t unit) {
  return (size + unit - 1) & ~(unit - 1);
}

/// The size of the chunk that a request needs; the request is less than `max_request`.
constexpr std::size_t padded(std::size_t request) {
  return round_up(request + chunk_overhead, block_alignment);
}

// ---- failure ----

[[noreturn, gnu::cold, gnu::noinline]] void fail(const std::source_location& where) {
  diag::terminate("dlmalloc error", "dlmalloc/include/dlmalloc/malloc", static_cast<int>(where.line()),
                  where.function_name());
}

/// Ends the process unless what must hold does.
inline void require(bool holds, const std::source_location& where = std::source_location::current()) {
  if (!holds) [[unlikely]] {
    fail(where);
  }
}

// ---- chunks ----

struct chunk {
  static constexpr std::size_t previous_in_use = 1;  ///< The chunk before is in use, or there is none.
  static constexpr std::size_t in_use = 2;
  static constexpr std::size_t use_flags = previous_in_use | in_use;  ///< Neither: the chunk is directly mapped.
  static constexpr std::size_t all_flags = 7;
  static constexpr std::size_t fencepost = word_size | use_flags;  ///< The head of what ends a segment.

  std::size_t previous_size;  ///< Of the chunk before if that is free; if directly mapped: bytes of the mapping before.
  std::size_t head;           ///< size and flags
  chunk* next;                ///< in the bin; only if free
  chunk* previous;            ///< in the bin; only if free

  std::size_t size() const { return head & ~all_flags; }
  bool follows_used() const { return (head & previous_in_use) != 0; }
  bool is_in_use() const { return (head & in_use) != 0; }
  bool is_mapped() const { return (head & use_flags) == 0; }
  bool is_used_or_mapped() const { return (head & use_flags) != previous_in_use; }

  chunk* at(std::size_t offset) { return reinterpret_cast<chunk*>(address() + offset); }
  chunk* back(std::size_t offset) { return reinterpret_cast<chunk*>(address() - offset); }
  chunk* following() { return at(size()); }
  char* address() { return reinterpret_cast<char*>(this); }
  void* block() { return address() + block_offset; }
  static chunk* of(void* block) { return reinterpret_cast<chunk*>(static_cast<char*>(block) - block_offset); }

  // The next functions give the chunk a size. Unless they say otherwise, the chunk before is in use.

  /// In use; the chunk behind is marked so already.
  void set_used(std::size_t size) { head = size | use_flags; }
  void set_used_and_mark_behind(std::size_t size) {
    set_used(size);
    at(size)->head |= previous_in_use;
  }
  /// The state of the chunk before stays as it was.
  void resize_used(std::size_t size) {
    head = (head & previous_in_use) | size | in_use;
    at(size)->head |= previous_in_use;
  }
  /// Free; the chunk behind is marked so already.
  void set_free(std::size_t size) {
    head = size | previous_in_use;
    at(size)->previous_size = size;
  }
  void set_free_and_mark_behind(std::size_t size, chunk* behind) {
    behind->head &= ~previous_in_use;
    set_free(size);
  }
  /// For a chunk that becomes the inside of another: whoever frees it again is found out.
  void forget() { head = previous_in_use; }
};

/// A free chunk of at least 256 bytes.
struct tree_chunk : chunk {
  tree_chunk* child[2];   ///< Of a node: smaller and larger by the next bit of the size, or null.
  tree_chunk* parent;     ///< Of a node: null at the root.
  std::uint32_t bin;      ///< number of the tree bin
  std::uint32_t is_node;  ///< 1 for a node of the trie, 0 for another chunk of a node's ring.

  tree_chunk* next_of_size() { return static_cast<tree_chunk*>(next); }
  tree_chunk* leftmost_child() const { return child[0] != nullptr ? child[0] : child[1]; }
};

/// A part of the address space that consists of chunks. Its record lies in its own foot, that of the latest segment in
/// the arena's state.
struct segment {
  char* base;
  std::size_t size;
  segment* next;      ///< the one made before, or null
  std::size_t magic;  ///< that of the parameters, as long as nobody has written over the record

  char* end() const { return base + size; }
  chunk* first_chunk() const { return reinterpret_cast<chunk*>(base + first_chunk_offset); }
};

/// Kept free behind top: room for a segment's record as a chunk in use, and for the fencepost behind it.
constexpr std::size_t record_chunk_size = padded(sizeof(segment));
constexpr std::size_t top_foot_size = first_chunk_offset + record_chunk_size + min_chunk_size;

static_assert(min_chunk_size == 32 && padded(23) == 32 && padded(24) == 32 && padded(25) == 64);
static_assert(top_foot_size == 112 && max_request == 0 - std::size_t{128});
static_assert(sizeof(chunk) == min_chunk_size && sizeof(chunk) == block_alignment);

// ---- bins: which sizes go where ----

constexpr unsigned small_bin_count = 8;  ///< The first stays empty.
constexpr std::size_t max_small_size = (small_bin_count - 1) * block_alignment;
constexpr std::size_t max_small_request = max_small_size - chunk_overhead;
static_assert(max_small_size == 224 && max_small_request == 216);

constexpr std::size_t small_bin_of(std::size_t size) {
  return size / block_alignment;
}
constexpr std::size_t size_of_small_bin(std::size_t bin) {
  return bin * block_alignment;
}

constexpr unsigned tree_bin_count = 32;
constexpr unsigned tree_bin_shift = 8;  ///< The first bin begins at 2 to this power.
static_assert(sizeof(tree_chunk) + word_size <= (std::size_t{1} << tree_bin_shift));

/// Two bins for each power of two; the last one holds all that is larger.
constexpr unsigned tree_bin_of(std::size_t size) {
  const std::size_t units = size >> tree_bin_shift;
  if (units == 0) {
    return 0;
  }
  if (units > 0xFFFF) {
    return tree_bin_count - 1;
  }
  const unsigned power = static_cast<unsigned>(std::bit_width(units)) - 1;
  return 2 * power + static_cast<unsigned>((size >> (power + tree_bin_shift - 1)) & 1);
}

/// Brings the size's highest bit in which the sizes of a bin differ to the top of the word.
constexpr std::size_t deciding_bits(std::size_t size, unsigned bin) {
  constexpr unsigned highest = 8 * word_size - 1;
  const unsigned shift = bin == tree_bin_count - 1 ? 0 : highest - (bin / 2 + tree_bin_shift - 2);
  return size << shift;
}
constexpr unsigned top_bit(std::size_t bits) {
  return static_cast<unsigned>(bits >> (8 * word_size - 1));
}
constexpr std::uint32_t bit_of(std::size_t bin) {
  return std::uint32_t{1} << bin;
}

constexpr unsigned index_count = 64;  ///< The sizes that small bins serve stay empty.
constexpr std::size_t index_limit = index_count * block_alignment;

constexpr unsigned index_of(std::size_t size) {
  return static_cast<unsigned>(size / block_alignment);
}
constexpr std::uint64_t index_bit(std::size_t size) {
  return std::uint64_t{1} << index_of(size);
}

// ---- the state ----

/// Not recursive. When a process ends, the system may have ended a thread that held the lock; then the next one has
/// it too, and what it guards is as that thread has left it.
class spin_lock {
 public:
  void lock() noexcept { lock(0); }

  /// Returns `kept`, which a caller so need not save for the call that hardly ever happens: what it saves before each
  /// exchange, each exchange waits for.
  std::uintptr_t lock(std::uintptr_t kept) noexcept {
    return word_.exchange(1, std::memory_order_acquire) == 0 ? kept : wait(kept);
  }
  void unlock() noexcept { word_.store(0, std::memory_order_release); }

 private:
  static constexpr unsigned pauses_per_try = 256;  ///< Some microseconds: an owner that runs is done by then.
  static constexpr unsigned most_pauses = 64;      ///< between two reads: each takes the word away from its owner
  static constexpr unsigned tries_before_sleep = 64;

  [[gnu::noinline]] std::uintptr_t wait(std::uintptr_t kept) noexcept {
    for (unsigned tries = 1; !try_lock(); ++tries) {
      if (tries % tries_before_sleep == 0) {
        pages::back_off();
        if (pages::process_is_ending()) {
          break;  // Nobody is left who would give it back.
        }
      }
    }
    return kept;
  }

  bool try_lock() noexcept {
    unsigned pauses = 1;
    for (unsigned paused = 0; paused < pauses_per_try; paused += pauses) {
      if (word_.load(std::memory_order_relaxed) == 0) {
        return word_.exchange(1, std::memory_order_acquire) == 0;
      }
      pauses = std::min(2 * pauses, most_pauses);
      for (unsigned i = 0; i < pauses; ++i) {
        _mm_pause();
      }
    }
    return false;
  }

  std::atomic<std::uint32_t> word_{0};  ///< 1 while somebody holds the lock
};

enum mode_flags : unsigned {
  use_lock = 4,            ///< Entry points lock the state: always.
  use_direct_mapping = 1,  ///< Large requests get a mapping of their own.
  use_noncontiguous = 2,   ///< Segments may lie anywhere: always, since memory comes from mappings alone.
};

/// What is settled at the first request.
struct malloc_params {
  std::size_t magic = 0;  ///< 0 until all others are set
  std::size_t page_size = 0;
  std::size_t granularity = 0;  ///< segments and mappings are multiples of it
  std::size_t mmap_threshold = 0;
  std::size_t trim_threshold = 0;
  unsigned default_mflags = 0;
};

constexpr std::size_t cache_line = 64;  ///< bytes

struct malloc_state {
  /// Alone, so that who waits for it does not take the state away from its owner.
  alignas(cache_line) spin_lock lock;

  // A small request needs no more than this line and that of its bin.
  alignas(cache_line) std::uint32_t small_map = 0;  ///< a bit for each small bin that holds a chunk
  std::uint32_t tree_map = 0;                       ///< likewise
  std::size_t victim_size = 0;
  std::size_t top_size = 0;
  chunk* victim = nullptr;  ///< the designated victim, or null
  chunk* top = nullptr;     ///< null until there is a segment
  /// No chunk lies before it. Nothing at all belongs to an arena without memory.
  std::uintptr_t least_address = UINTPTR_MAX;
  std::size_t trim_check = 0;  ///< top is trimmed when it grows beyond this

  unsigned mflags = 0;
  std::size_t release_checks = max_release_check_rate;  ///< counts down to the next look for idle segments
  std::size_t footprint = 0;                            ///< bytes obtained from the system
  std::size_t max_footprint = 0;                        ///< the most that it ever was, for those who measure the arena
  segment latest{};                                     ///< the segment that holds top; the others follow as a list
  chunk small_bins[small_bin_count] = {};               ///< each the sentinel of a ring
  tree_chunk* tree_bins[tree_bin_count] = {};
  std::uint64_t index_map = 0;          ///< a bit for each size of the index that has a node
  tree_chunk* index[index_count] = {};  ///< the nodes

  /// By the size of its chunks; so the address is a sum, since a sentinel has the size of a unit.
  chunk* small_bin(std::size_t size) { return small_bins->at(size); }
  bool owns(const void* p) const { return reinterpret_cast<std::uintptr_t>(p) >= least_address; }
};

constinit malloc_params params;
constinit spin_lock params_lock;
constinit malloc_state arena;

// ---- small bins ----

void init_bins(malloc_state& m) {
  for (chunk& bin : m.small_bins) {
    bin.next = bin.previous = &bin;
  }
}

inline void insert_small(malloc_state& m, chunk* c, std::size_t size) {
  chunk* const bin = m.small_bin(size);
  chunk* const first = bin->next;
  require(first->previous == bin);
  m.small_map |= bit_of(small_bin_of(size));
  bin->next = first->previous = c;
  c->next = first;
  c->previous = bin;
}

/// Whether `neighbour` can be what a chunk of this bin is linked to.
inline bool may_be_linked(const malloc_state& m, const chunk* neighbour, const chunk* bin) {
  return neighbour == bin || m.owns(neighbour);
}

/// The chunk is in the bin of its size.
inline void unlink_from_small_bin(malloc_state& m, chunk* c, std::size_t size) {
  chunk* const bin = m.small_bin(size);
  chunk* const next = c->next;
  chunk* const previous = c->previous;
  require(may_be_linked(m, next, bin) && next->previous == c);
  require(may_be_linked(m, previous, bin) && previous->next == c);
  next->previous = previous;
  previous->next = next;
  if (next == previous) {  // Only the sentinel is left.
    m.small_map &= ~bit_of(small_bin_of(size));
  }
}

/// From the bin of a size, which is not empty.
inline chunk* remove_first_small(malloc_state& m, std::size_t size) {
  chunk* const bin = m.small_bin(size);
  chunk* const c = bin->next;
  chunk* const next = c->next;
  require(may_be_linked(m, next, bin) && next->previous == c && c->head == (size | chunk::previous_in_use));
  bin->next = next;
  next->previous = bin;
  if (next == bin) {
    m.small_map &= ~bit_of(small_bin_of(size));
  }
  return c;
}

// ---- tree bins ----

inline void make_node(tree_chunk* c, tree_chunk* parent, unsigned bin) {
  c->child[0] = c->child[1] = nullptr;
  c->parent = parent;
  c->bin = bin;
  c->is_node = 1;
  c->next = c->previous = c;
}

/// Adds a chunk to the ring of a node of the same size.
inline void join_ring(const malloc_state& m, tree_chunk* c, tree_chunk* node) {
  chunk* const next = node->next;
  require(m.owns(next) && next->previous == node);
  node->next = next->previous = c;
  c->next = next;
  c->previous = node;
  c->bin = node->bin;
  c->is_node = 0;
}

/// The node is now that of the size; null if there is none any more.
inline void set_index(malloc_state& m, std::size_t size, tree_chunk* node) {
  if (size >= index_limit) {
    return;
  }
  m.index[index_of(size)] = node;
  m.index_map = (m.index_map & ~index_bit(size)) | (node != nullptr ? index_bit(size) : 0);
}

/// The node of the least size of the index that is not below a size; null if there is none.
inline tree_chunk* find_in_index(const malloc_state& m, std::size_t size) {
  if (size >= index_limit) {
    return nullptr;
  }
  const std::uint64_t fitting = m.index_map & (0 - index_bit(size));
  if (fitting == 0) {
    return nullptr;
  }
  const unsigned found = static_cast<unsigned>(std::countr_zero(fitting));
  tree_chunk* const node = m.index[found];
  require(index_of(node->size()) == found);
  return node;
}

/// Walks from the root of the bin to where the chunk belongs.
void insert_into_trie(malloc_state& m, tree_chunk* c, std::size_t size) {
  const unsigned bin = tree_bin_of(size);
  tree_chunk* parent = nullptr;
  tree_chunk** link = &m.tree_bins[bin];
  for (std::size_t bits = deciding_bits(size, bin); *link != nullptr; bits <<= 1) {
    parent = *link;
    require(m.owns(parent));
    if (parent->size() == size) {
      join_ring(m, c, parent);
      return;
    }
    link = &parent->child[top_bit(bits)];
  }
  *link = c;
  m.tree_map |= bit_of(bin);
  make_node(c, parent, bin);
  set_index(m, size, c);
}

inline void insert_large(malloc_state& m, tree_chunk* c, std::size_t size) {
  if (size < index_limit && (m.index_map & index_bit(size)) != 0) {
    join_ring(m, c, m.index[index_of(size)]);
  } else {
    insert_into_trie(m, c, size);
  }
}

/// Removes a leaf below a node from the trie, to stand in the node's place; null if the node is a leaf itself.
tree_chunk* remove_leaf(const malloc_state& m, tree_chunk* node) {
  tree_chunk** link = node->child[1] != nullptr ? &node->child[1] : &node->child[0];
  if (*link == nullptr) {
    return nullptr;
  }
  for (;;) {
    tree_chunk* const leaf = *link;
    require(m.owns(leaf));
    if (leaf->leftmost_child() == nullptr) {
      break;
    }
    link = leaf->child[1] != nullptr ? &leaf->child[1] : &leaf->child[0];
  }
  tree_chunk* const leaf = *link;
  *link = nullptr;
  return leaf;
}

/// Gives a node's place in the trie to another chunk, or to none.
void replace_node(malloc_state& m, tree_chunk* node, tree_chunk* successor) {
  tree_chunk* const parent = node->parent;
  if (parent != nullptr) {
    require(m.owns(parent) && (parent->child[0] == node || parent->child[1] == node));
    parent->child[parent->child[0] == node ? 0 : 1] = successor;
  } else {
    require(m.tree_bins[node->bin] == node);
    m.tree_bins[node->bin] = successor;
    if (successor == nullptr) {
      m.tree_map &= ~bit_of(node->bin);
    }
  }
  if (successor == nullptr) {
    return;
  }
  successor->parent = parent;
  successor->is_node = 1;
  for (int side = 0; side < 2; ++side) {
    tree_chunk* const child = node->child[side];
    successor->child[side] = child;
    if (child != nullptr) {
      require(m.owns(child));
      child->parent = successor;
    }
  }
}

/// Returns the chunk behind it in the ring.
inline tree_chunk* unlink_from_ring(const malloc_state& m, tree_chunk* c) {
  chunk* const next = c->next;
  chunk* const previous = c->previous;
  require(m.owns(next) && next->previous == c && m.owns(previous) && previous->next == c);
  next->previous = previous;
  previous->next = next;
  return static_cast<tree_chunk*>(next);
}

void unlink_large(malloc_state& m, tree_chunk* c) {
  tree_chunk* const twin = c->next != c ? unlink_from_ring(m, c) : nullptr;
  if (c->is_node == 0) {
    return;
  }
  require(c->is_node == 1 && c->bin < tree_bin_count);
  set_index(m, c->size(), twin);
  replace_node(m, c, twin != nullptr ? twin : remove_leaf(m, c));
}

// ---- free chunks of any size ----

inline void insert_chunk(malloc_state& m, chunk* c, std::size_t size) {
  if (size <= max_small_size) {
    insert_small(m, c, size);
  } else {
    insert_large(m, static_cast<tree_chunk*>(c), size);
  }
}

inline void unlink_chunk(malloc_state& m, chunk* c, std::size_t size) {
  if (size <= max_small_size) {
    unlink_from_small_bin(m, c, size);
  } else {
    unlink_large(m, static_cast<tree_chunk*>(c));
  }
}

inline void drop_victim(malloc_state& m) {
  m.victim = nullptr;
  m.victim_size = 0;
}

/// Makes the rest of a split chunk the designated victim; the former one goes to its bin.
inline void replace_victim(malloc_state& m, chunk* c, std::size_t size) {
  // The former one is small: a larger one would have served the request that now splits another chunk.
  if (m.victim_size != 0) {
    insert_small(m, m.victim, m.victim_size);
  }
  m.victim = c;
  m.victim_size = size;
}

// ---- top and segments ----

/// Top begins at `start`, which is the place of a chunk, and `size` bytes lie between it and the foot.
void init_top(malloc_state& m, chunk* start, std::size_t size) {
  m.top = start;
  m.top_size = size;
  start->head = size | chunk::previous_in_use;
  start->at(size)->head = top_foot_size;
  m.trim_check = params.trim_threshold;
}

inline void* split_top(malloc_state& m, std::size_t size) {
  chunk* const c = m.top;
  m.top_size -= size;
  m.top = c->at(size);
  m.top->head = m.top_size | chunk::previous_in_use;
  c->set_used(size);
  return c->block();
}

/// Makes fresh memory the latest segment. The record of the former one goes into the foot behind its top, and that top
/// into a bin.
void add_segment(malloc_state& m, char* base, std::size_t size) {
  if (m.top != nullptr) {
    chunk* const former_top = m.top;
    const std::size_t former_size = m.top_size;
    chunk* const record_chunk = former_top->at(former_size);
    record_chunk->set_used(record_chunk_size);
    record_chunk->following()->head = chunk::fencepost;
    segment* const record = static_cast<segment*>(record_chunk->block());
    *record = m.latest;
    record->magic = params.magic;
    former_top->set_free_and_mark_behind(former_size, record_chunk);
    insert_chunk(m, former_top, former_size);
    m.latest.next = record;
  }
  m.latest.base = base;
  m.latest.size = size;
  init_top(m, m.latest.first_chunk(), size - first_chunk_offset - top_foot_size);
}

/// The segment that begins at an address, or null.
segment* segment_at(malloc_state& m, const char* base) {
  for (segment* s = &m.latest; s != nullptr; s = s->next) {
    require(s == &m.latest || s->magic == params.magic);
    if (s->base == base) {
      return s;
    }
  }
  return nullptr;
}

/// Cuts a chunk from the begin of fresh memory that lies right before a segment and is now part of it. The rest of
/// that memory merges with the segment's first chunk.
void* split_before(malloc_state& m, char* fresh, char* former_base, std::size_t size) {
  chunk* const c = reinterpret_cast<chunk*>(fresh + first_chunk_offset);
  chunk* first = reinterpret_cast<chunk*>(former_base + first_chunk_offset);
  require(first->follows_used());
  chunk* const rest = c->at(size);
  std::size_t rest_size = static_cast<std::size_t>(first->address() - rest->address());
  c->set_used(size);
  if (first == m.top) {
    m.top_size += rest_size;
    m.top = rest;
    rest->head = m.top_size | chunk::previous_in_use;
  } else if (first == m.victim) {
    m.victim_size += rest_size;
    m.victim = rest;
    rest->set_free(m.victim_size);
  } else {
    if (!first->is_in_use()) {
      const std::size_t first_size = first->size();
      unlink_chunk(m, first, first_size);
      rest_size += first_size;
      first = first->at(first_size);
    }
    rest->set_free_and_mark_behind(rest_size, first);
    insert_chunk(m, rest, rest_size);
  }
  return c->block();
}

// ---- memory from the system ----

constexpr bool is_power_of_two(std::size_t value) {
  return std::has_single_bit(value);
}

/// Settles the parameters, once.
void init_mparams() {
  const std::lock_guard guard(params_lock);
  if (params.magic != 0) {
    return;
  }
  const pages::geometry system = pages::ask_geometry();
  require(is_power_of_two(system.granularity) && is_power_of_two(system.page_size));
  params.granularity = system.granularity;
  params.page_size = system.page_size;
  params.mmap_threshold = default_mmap_threshold;
  params.trim_threshold = default_trim_threshold;
  params.default_mflags = use_lock | use_direct_mapping | use_noncontiguous;
  params.magic = ((pages::tick_count() & ~std::uint32_t{7}) ^ 0x55555550) | 8;
}

void count_obtained(malloc_state& m, const char* base, std::size_t size) {
  m.least_address = std::min(m.least_address, reinterpret_cast<std::uintptr_t>(base));
  m.footprint += size;
  m.max_footprint = std::max(m.max_footprint, m.footprint);
}

/// A chunk in a mapping of its own; null if there is no memory.
void* map_directly(malloc_state& m, std::size_t size) {
  const std::size_t mapping_size =
      round_up(size + first_chunk_offset + mapped_foot + block_alignment, params.granularity);
  if (mapping_size <= size) {
    return nullptr;
  }
  char* const mapping = static_cast<char*>(pages::map(mapping_size, pages::placement::high));
  if (mapping == nullptr) {
    return nullptr;
  }
  chunk* const c = reinterpret_cast<chunk*>(mapping + first_chunk_offset);
  c->previous_size = first_chunk_offset;
  c->head = mapping_size - first_chunk_offset - mapped_foot;
  c->following()->head = chunk::fencepost;
  count_obtained(m, mapping, mapping_size);
  return c->block();
}

/// Gives the mapping back. If that fails, it stays mapped and counted, and nobody has it any more.
[[gnu::noinline]] void unmap_directly(malloc_state& m, chunk* c) {
  const std::size_t before = c->previous_size;
  const std::size_t mapping_size = before + c->size() + mapped_foot;
  require(before == first_chunk_offset && mapping_size % params.granularity == 0);
  if (pages::unmap(c->address() - before, mapping_size)) {
    m.footprint -= mapping_size;
  }
}

/// Serves what no chunk can: `size` is that of a chunk. Null if the system has no memory, and nothing has changed then.
[[gnu::noinline]] void* sys_alloc(malloc_state& m, std::size_t size) {
  if (params.magic == 0) {
    init_mparams();
  }
  if (m.top == nullptr) {
    m.mflags = params.default_mflags;
    init_bins(m);
  }
  if ((m.mflags & use_direct_mapping) != 0 && size >= params.mmap_threshold && m.top_size != 0) {
    if (void* const block = map_directly(m, size)) {
      return block;
    }
  }
  const std::size_t segment_size = round_up(size + top_foot_size + block_alignment, params.granularity);
  if (segment_size <= size) {
    return nullptr;
  }
  char* const fresh = static_cast<char*>(pages::map(segment_size, pages::placement::anywhere));
  if (fresh == nullptr) {
    return nullptr;
  }
  count_obtained(m, fresh, segment_size);
  if (m.top != nullptr && fresh == m.latest.end()) {
    m.latest.size += segment_size;
    init_top(m, m.top, m.top_size + segment_size);
  } else if (segment* const behind = segment_at(m, fresh + segment_size)) {
    char* const former_base = behind->base;
    behind->base = fresh;
    behind->size += segment_size;
    return split_before(m, fresh, former_base, size);
  } else {
    add_segment(m, fresh, segment_size);
  }
  require(size < m.top_size);
  return split_top(m, size);
}

// ---- memory back to the system ----

/// Whether the whole segment is one free chunk, and which; null if not. Not for the segment of top.
chunk* idle_chunk(const segment& s) {
  chunk* const c = s.first_chunk();
  return !c->is_in_use() && c->address() + c->size() >= s.end() - top_foot_size ? c : nullptr;
}

/// Gives an idle segment back. False, and all is as before, if that fails.
bool release_segment(malloc_state& m, const segment& idle, chunk* c) {
  const std::size_t chunk_size = c->size();
  const segment gone = idle;  // The record lies in what goes.
  if (c == m.victim) {
    drop_victim(m);
  } else {
    unlink_large(m, static_cast<tree_chunk*>(c));
  }
  if (!pages::unmap(gone.base, gone.size)) {
    insert_large(m, static_cast<tree_chunk*>(c), chunk_size);
    return false;
  }
  m.footprint -= gone.size;
  return true;
}

/// Returns the number of bytes that went back.
[[gnu::noinline]] std::size_t release_unused_segments(malloc_state& m) {
  std::size_t released = 0;
  std::size_t count = 0;
  for (segment* before = &m.latest; before->next != nullptr; ++count) {
    segment* const candidate = before->next;
    require(candidate->magic == params.magic);
    segment* const next = candidate->next;
    const std::size_t size = candidate->size;
    chunk* const idle = idle_chunk(*candidate);
    if (idle != nullptr && release_segment(m, *candidate, idle)) {
      released += size;
      before->next = next;
    } else {
      before = candidate;
    }
  }
  m.release_checks = std::max(count, max_release_check_rate);
  return released;
}

/// Gives the end of top back, in whole units; that succeeds only if it consists of whole mappings. Returns the number
/// of bytes, 0 if it fails.
std::size_t shrink_top(malloc_state& m) {
  const std::size_t unit = params.granularity;
  if (m.top_size <= top_foot_size) {
    return 0;
  }
  const std::size_t extra = ((m.top_size - top_foot_size + unit - 1) / unit - 1) * unit;
  if (extra == 0 || m.latest.size <= extra || !pages::unmap(m.latest.end() - extra, extra)) {
    return 0;
  }
  m.latest.size -= extra;
  m.footprint -= extra;
  init_top(m, m.top, m.top_size - extra);
  return extra;
}

/// Called when top has become large.
[[gnu::noinline]] void sys_trim(malloc_state& m) {
  const std::size_t released = shrink_top(m) + release_unused_segments(m);
  if (released == 0 && m.top_size > m.trim_check) {
    m.trim_check = no_size;  // It would fail again and again. The next segment gives it another chance.
  }
}

// ---- allocation ----

/// Cuts a free chunk of at least the size, which is in no bin any more, and puts it in use. Returns the rest, or null
/// if there is too little.
inline chunk* cut(chunk* c, std::size_t chunk_size, std::size_t size) {
  const std::size_t rest_size = chunk_size - size;
  if (rest_size < min_chunk_size) {
    c->set_used_and_mark_behind(chunk_size);
    return nullptr;
  }
  c->set_used(size);
  chunk* const rest = c->at(size);
  rest->set_free(rest_size);
  return rest;
}

/// Unlinks a chunk of the node's size: another of its ring if there is one, since that leaves the trie alone.
inline tree_chunk* remove_of_size(malloc_state& m, tree_chunk* node) {
  require(m.owns(node) && m.owns(node->next));
  tree_chunk* const removed = node->next_of_size();
  // Whoever writes beyond a block writes over the next one's size.
  require(removed->head == node->head && removed->bin == tree_bin_of(removed->size()));
  if (removed == node) {
    unlink_large(m, removed);
  } else {
    unlink_from_ring(m, removed);
    require(removed->is_node == 0);
  }
  return removed;
}

/// The smallest chunk along the left edge of a trie, which holds the smallest of all.
inline tree_chunk* smallest_of(const malloc_state& m, tree_chunk* node) {
  require(m.owns(node));
  tree_chunk* best = node;
  std::size_t best_size = node->size();
  for (node = node->leftmost_child(); node != nullptr; node = node->leftmost_child()) {
    require(m.owns(node));
    if (node->size() < best_size) {
      best = node;
      best_size = node->size();
    }
  }
  return best;
}

/// A small request from the smallest chunk of the trees, which are not empty; the rest becomes the designated victim.
void* tmalloc_small(malloc_state& m, std::size_t size) {
  tree_chunk* smallest = find_in_index(m, size);
  if (smallest == nullptr) {
    smallest = smallest_of(m, m.tree_bins[std::countr_zero(m.tree_map)]);
  }
  tree_chunk* const c = remove_of_size(m, smallest);
  const std::size_t chunk_size = c->size();
  require(chunk_size >= size);
  if (chunk* const rest = cut(c, chunk_size, size)) {
    replace_victim(m, rest, chunk_size - size);
  }
  return c->block();
}

/// The best fit so far.
struct best_fit {
  tree_chunk* chunk = nullptr;
  std::size_t excess;  ///< bytes over the wanted size

  /// Keeps the node if it is better. A node that is too small has an excess that has wrapped, beyond any other.
  void consider(tree_chunk* node, std::size_t wanted) {
    const std::size_t node_excess = node->size() - wanted;
    if (node_excess < excess) {
      chunk = node;
      excess = node_excess;
    }
  }
};

/// Follows the bits of the wanted size down a trie. What is left to search is the returned subtree, null if there is
/// none: the last one passed on the right, whose sizes are all larger.
inline tree_chunk* descend(const malloc_state& m, tree_chunk* node, std::size_t wanted, unsigned bin, best_fit& best) {
  tree_chunk* larger = nullptr;
  for (std::size_t bits = deciding_bits(wanted, bin); node != nullptr; bits <<= 1) {
    require(m.owns(node));
    best.consider(node, wanted);
    if (best.excess == 0) {
      return nullptr;
    }
    tree_chunk* const right = node->child[1];
    node = node->child[top_bit(bits)];
    if (right != nullptr && right != node) {
      larger = right;
    }
  }
  return larger;
}

inline best_fit find_large(const malloc_state& m, std::size_t wanted) {
  if (tree_chunk* const node = find_in_index(m, wanted)) {
    return {node, node->size() - wanted};
  }
  const unsigned bin = tree_bin_of(wanted);
  best_fit best{nullptr, std::size_t{0} - wanted};
  tree_chunk* left_to_search = descend(m, m.tree_bins[bin], wanted, bin, best);
  if (left_to_search == nullptr && best.chunk == nullptr) {
    const std::uint32_t larger_bins = m.tree_map & (~std::uint32_t{1} << bin);
    if (larger_bins != 0) {
      left_to_search = m.tree_bins[std::countr_zero(larger_bins)];
    }
  }
  for (; left_to_search != nullptr; left_to_search = left_to_search->leftmost_child()) {
    require(m.owns(left_to_search));
    best.consider(left_to_search, wanted);
  }
  return best;
}

/// A large request from the best fit of the trees; null if there is none, or the designated victim fits better.
void* tmalloc_large(malloc_state& m, std::size_t size) {
  const best_fit best = find_large(m, size);
  if (best.chunk == nullptr || (m.victim_size >= size && m.victim_size - size <= best.excess)) {
    return nullptr;
  }
  tree_chunk* const c = remove_of_size(m, best.chunk);
  if (chunk* const rest = cut(c, best.excess + size, size)) {
    insert_chunk(m, rest, best.excess);
  }
  return c->block();
}

/// From the designated victim, which is large enough.
inline void* split_victim(malloc_state& m, std::size_t size) {
  chunk* const c = m.victim;
  if (chunk* const rest = cut(c, m.victim_size, size)) {
    m.victim = rest;
    m.victim_size -= size;
  } else {
    drop_victim(m);
  }
  return c->block();
}

/// From a small bin with larger chunks; the rest becomes the designated victim.
inline void* split_small(malloc_state& m, std::uint32_t larger_bins, std::size_t size) {
  const std::size_t chunk_size = size_of_small_bin(static_cast<std::size_t>(std::countr_zero(larger_bins)));
  chunk* const c = remove_first_small(m, chunk_size);
  replace_victim(m, cut(c, chunk_size, size), chunk_size - size);
  return c->block();
}

/// From the victim, top or the system, when no bin serves.
inline void* allocate_elsewhere(malloc_state& m, std::size_t size) {
  if (size <= m.victim_size) {
    return split_victim(m, size);
  }
  if (size < m.top_size) {
    return split_top(m, size);
  }
  return sys_alloc(m, size);
}

/// A small request from what bins have of larger chunks, of which there are some.
[[gnu::noinline]] void* allocate_from_larger(malloc_state& m, std::uint32_t larger_bins, std::size_t size) {
  return larger_bins != 0 ? split_small(m, larger_bins, size) : tmalloc_small(m, size);
}

/// The short ways are in line and need no register saved; the others are calls.
inline void* allocate_small(malloc_state& m, std::size_t size) {
  const std::size_t number = small_bin_of(size);
  const std::uint32_t bins = m.small_map >> number;
  if ((bins & 1) != 0) {
    chunk* const c = remove_first_small(m, size);
    c->set_used_and_mark_behind(size);
    return c->block();
  }
  if (size > m.victim_size && (bins | m.tree_map) != 0) {
    return allocate_from_larger(m, bins << number, size);
  }
  return allocate_elsewhere(m, size);
}

[[gnu::noinline]] void* allocate_large(malloc_state& m, std::size_t request) {
  if (request >= max_request) {
    return nullptr;
  }
  const std::size_t size = padded(request);
  if (m.tree_map != 0) {
    if (void* const block = tmalloc_large(m, size)) {
      return block;
    }
  }
  return allocate_elsewhere(m, size);
}

inline void* allocate(malloc_state& m, std::size_t request) {
  return request <= max_small_request ? allocate_small(m, padded(request)) : allocate_large(m, request);
}

// ---- release ----

/// Every now and then the release of a large chunk looks for idle segments.
inline void count_large_release(malloc_state& m) {
  if (--m.release_checks == 0) [[unlikely]] {
    release_unused_segments(m);
  }
}

inline void put_in_bin(malloc_state& m, chunk* c, std::size_t size) {
  if (size <= max_small_size) {
    insert_small(m, c, size);
    return;
  }
  insert_large(m, static_cast<tree_chunk*>(c), size);
  count_large_release(m);
}

/// Whether a free chunk stays where it is in the bins with another size: it is alone in its tree bin and keeps that.
inline bool stays_in_bin(const malloc_state& m, chunk* c, std::size_t former_size, std::size_t size) {
  if (former_size <= max_small_size) {
    return false;
  }
  const tree_chunk* const node = static_cast<const tree_chunk*>(c);
  const unsigned bin = tree_bin_of(size);
  return m.tree_bins[bin] == node && node->leftmost_child() == nullptr && node->next == node;
}

/// Lets a free chunk grow up to one in use, if it need not go anywhere else then: it is the designated victim, or stays
/// in its bin.
inline bool grow_in_place(malloc_state& m, chunk* c, std::size_t former_size, std::size_t size, chunk* behind) {
  if (c == m.victim) {
    m.victim_size = size;
    c->set_free_and_mark_behind(size, behind);
    return true;
  }
  if (!stays_in_bin(m, c, former_size, size)) {
    return false;
  }
  set_index(m, former_size, nullptr);
  set_index(m, size, static_cast<tree_chunk*>(c));
  c->set_free_and_mark_behind(size, behind);
  count_large_release(m);
  return true;
}

/// Makes a chunk the begin of top, which lies behind it.
inline void merge_with_top(malloc_state& m, chunk* c, std::size_t size) {
  m.top_size += size;
  m.top = c;
  c->head = m.top_size | chunk::previous_in_use;
  if (m.top_size > m.trim_check) [[unlikely]] {
    sys_trim(m);
  }
}

/// Merges with the chunk behind, which is free, and puts the result where it belongs.
inline void merge_behind(malloc_state& m, chunk* c, std::size_t size, chunk* behind) {
  if (behind == m.top) {
    if (c == m.victim) {
      drop_victim(m);
    }
    merge_with_top(m, c, size);
  } else if (behind == m.victim) {
    m.victim_size += size;
    m.victim = c;
    c->set_free(m.victim_size);
  } else {
    const std::size_t behind_size = behind->size();
    unlink_chunk(m, behind, behind_size);
    size += behind_size;
    c->set_free(size);
    if (c == m.victim) {
      m.victim_size = size;
    } else {
      put_in_bin(m, c, size);
    }
  }
}

/// Makes a chunk free that is in use and in a segment.
[[gnu::noinline]] void release_and_merge(malloc_state& m, chunk* c, std::size_t size) {
  chunk* const behind = c->at(size);
  if (!c->follows_used()) {
    const std::size_t before_size = c->previous_size;
    chunk* const before = c->back(before_size);
    require(m.owns(before) && before->size() == before_size);
    c->forget();
    c = before;
    size += before_size;
    if (behind->is_in_use() && grow_in_place(m, c, before_size, size, behind)) {
      return;
    }
    if (c != m.victim) {
      unlink_chunk(m, c, before_size);
    }
  }
  if (!behind->is_in_use()) {
    merge_behind(m, c, size, behind);
  } else {
    c->set_free_and_mark_behind(size, behind);
    put_in_bin(m, c, size);
  }
}

/// The same; the short ways, of a chunk between two that stay and of one before top, are in line.
inline void release_chunk(malloc_state& m, chunk* c, std::size_t size) {
  chunk* const behind = c->at(size);
  require(c < behind && behind->follows_used());
  if (c->follows_used() && behind->is_in_use() && size <= max_small_size) {
    c->set_free_and_mark_behind(size, behind);
    insert_small(m, c, size);
  } else if (c->follows_used() && behind == m.top) {
    merge_with_top(m, c, size);
  } else {
    release_and_merge(m, c, size);
  }
}

/// Ends the process unless the chunk looks like one that is in use.
inline void require_used(const malloc_state& m, const chunk* c) {
  require(m.owns(c) && reinterpret_cast<std::uintptr_t>(c) % block_alignment == first_chunk_offset &&
          c->is_used_or_mapped());
}

inline void release(malloc_state& m, chunk* c) {
  require_used(m, c);
  if (c->is_mapped()) [[unlikely]] {
    unmap_directly(m, c);
  } else {
    release_chunk(m, c, c->size());
  }
}

// ---- another size in place ----

/// Cuts a chunk in use down to a size and frees the rest, if that is enough for a chunk.
void shrink_used(malloc_state& m, chunk* c, std::size_t chunk_size, std::size_t size) {
  const std::size_t rest_size = chunk_size - size;
  if (rest_size < min_chunk_size) {
    c->resize_used(chunk_size);
    return;
  }
  chunk* const rest = c->at(size);
  c->resize_used(size);
  rest->set_used_and_mark_behind(rest_size);
  release_chunk(m, rest, rest_size);
}

bool grow_into_top(malloc_state& m, chunk* c, std::size_t size) {
  const std::size_t together = c->size() + m.top_size;
  if (together <= size) {
    return false;
  }
  c->resize_used(size);
  m.top = c->at(size);
  m.top_size = together - size;
  m.top->head = m.top_size | chunk::previous_in_use;
  return true;
}

bool grow_into_victim(malloc_state& m, chunk* c, std::size_t size) {
  const std::size_t together = c->size() + m.victim_size;
  if (together < size) {
    return false;
  }
  const std::size_t rest_size = together - size;
  if (rest_size < min_chunk_size) {
    c->resize_used(together);
    drop_victim(m);
    return true;
  }
  c->resize_used(size);
  m.victim = c->at(size);
  m.victim_size = rest_size;
  m.victim->set_free_and_mark_behind(rest_size, m.victim->at(rest_size));
  return true;
}

bool grow_into_free(malloc_state& m, chunk* c, chunk* behind, std::size_t size) {
  const std::size_t behind_size = behind->size();
  const std::size_t together = c->size() + behind_size;
  if (together < size) {
    return false;
  }
  unlink_chunk(m, behind, behind_size);
  shrink_used(m, c, together, size);
  return true;
}

/// Whether a directly mapped chunk can stay: it is large enough, and not by more than two units.
bool mapping_fits(chunk* c, std::size_t size) {
  return size > max_small_size && c->size() >= size + word_size && c->size() - size <= 2 * params.granularity;
}

/// Gives a chunk in use at least a padded size where it stands; null if that cannot be done, and nothing has changed
/// then. `can_move`: whether a mapping of its own may get another address, which this system never does.
chunk* try_realloc_chunk(malloc_state& m, chunk* c, std::size_t size, [[maybe_unused]] bool can_move) {
  require_used(m, c);
  chunk* const behind = c->following();
  require(c < behind && behind->follows_used());
  if (c->is_mapped()) {
    return mapping_fits(c, size) ? c : nullptr;
  }
  if (c->size() >= size) {
    shrink_used(m, c, c->size(), size);
    return c;
  }
  const bool grown = behind == m.top        ? grow_into_top(m, c, size)
                     : behind == m.victim   ? grow_into_victim(m, c, size)
                     : !behind->is_in_use() ? grow_into_free(m, c, behind, size)
                                            : false;
  return grown ? c : nullptr;
}

// ---- entry points ----

#ifdef DLMALLOC_CHECKING
void validate(malloc_state& m);  // validator.hpp
#endif

/// Calls `operation(m, argument)` under the lock.
template <class Operation>
inline auto serialised(malloc_state& m, std::uintptr_t argument, Operation operation) {
  argument = m.lock.lock(argument);
  const std::lock_guard guard(m.lock, std::adopt_lock);
  const auto result = operation(m, argument);
#ifdef DLMALLOC_CHECKING
  validate(m);
#endif
  return result;
}

template <class Operation>
inline auto serialised(malloc_state& m, Operation operation) {
  return serialised(m, 0, [&](malloc_state& locked, std::uintptr_t) { return operation(locked); });
}

/// `size` in bytes; 0 gives a block too. Null if there is no memory.
[[maybe_unused]] void* dlmalloc(std::size_t size) {
  return serialised(arena, size, [](malloc_state& m, std::uintptr_t request) { return allocate(m, request); });
}

/// Null does nothing.
[[maybe_unused]] void dlfree(void* block) {
  if (block == nullptr) {
    return;
  }
  serialised(arena, reinterpret_cast<std::uintptr_t>(block), [](malloc_state& m, std::uintptr_t address) {
    release(m, chunk::of(reinterpret_cast<void*>(address)));
    return 0;
  });
}

/// A block of zeros for `count` elements of `size` bytes; null if there is no memory, or the product is too large.
[[maybe_unused]] void* dlcalloc(std::size_t count, std::size_t size) {
  std::size_t product = 0;
  if (__builtin_mul_overflow(count, size, &product)) {
    product = no_size;
  }
  bool is_clear = false;  // Asked under the lock: the chunk before writes its state into this one's head.
  void* const block = serialised(arena, [product, &is_clear](malloc_state& m) {
    void* const made = allocate(m, product);
    is_clear = made == nullptr || chunk::of(made)->is_mapped();  // The system gives out zeros.
    return made;
  });
  if (!is_clear) {
    std::memset(block, 0, product);
  }
  return block;
}

/// Gives the block another size, perhaps in another place; null makes a new one. Null if there is no memory: then the
/// block stays as it is.
[[maybe_unused]] void* dlrealloc(void* block, std::size_t size) {
  if (block == nullptr) {
    return dlmalloc(size);
  }
  if (size >= max_request) {
    return nullptr;
  }
  std::size_t usable = 0;
  const chunk* const resized = serialised(arena, [=, &usable](malloc_state& m) {
    chunk* const c = chunk::of(block);
    chunk* const in_place = try_realloc_chunk(m, c, padded(size), true);
    usable = c->size() - (c->is_mapped() ? mapped_overhead : chunk_overhead);
    return in_place;
  });
  if (resized != nullptr) {
    return block;
  }
  void* const fresh = dlmalloc(size);
  if (fresh == nullptr) {
    return nullptr;
  }
  std::memcpy(fresh, block, std::min(usable, size));
  dlfree(block);
  return fresh;
}

/// Bytes that the arena has from the system now, and the most it ever had: what a test or a benchmark asks.
[[maybe_unused]] std::size_t dlmalloc_footprint() {
  return serialised(arena, [](const malloc_state& m) { return m.footprint; });
}
[[maybe_unused]] std::size_t dlmalloc_max_footprint() {
  return serialised(arena, [](const malloc_state& m) { return m.max_footprint; });
}

}  // namespace

}  // namespace foundation::core::mem::dlmalloc

#ifdef DLMALLOC_CHECKING
#include <dlmalloc/validator.hpp>
#endif

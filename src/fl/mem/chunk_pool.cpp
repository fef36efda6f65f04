// How a pool finds the blocks that it can give back. If no chunk is handed out, it is all of them; as the counts of
// chunks are wrong once a client frees one twice, one look at the chunks in the order in which they lie confirms it.
// Otherwise the free chunks, which form a list, and the blocks, which form another, are put in the order of their
// addresses; then one walk along both shows which blocks are whole.
//
// The list of chunks can be far larger than the cache, and as it leads anywhere in the pool, following a link costs
// many times more than all else that is done with a chunk. A merge sort on the list would pay that for each merging. So
// the list is walked once, which deals the chunks out to parts of the pool that fit into the cache: a radix sort that
// begins with the highest bits of the addresses.
#include "mem/chunk_pool.hpp"

#include <algorithm>
#include <array>
#include <bit>
#include <cstddef>
#include <utility>

namespace foundation::core::mem::detail {
namespace {

using pool_block = boost::details::PODptr<std::size_t>;

void* next_of(const void* chunk) noexcept {
  return *static_cast<void* const*>(chunk);
}

void set_next(void* chunk, void* next) noexcept {
  *static_cast<void**>(chunk) = next;
}

// Of two ordered lists of blocks, neither of them empty.
pool_block merge(pool_block left, pool_block right) noexcept {
  if (right.begin() < left.begin()) {
    std::swap(left, right);
  }
  const pool_block first = left;
  pool_block last = left;
  for (left = left.next(); left.valid(); left = left.next()) {
    if (right.begin() < left.begin()) {
      std::swap(left, right);
    }
    last.next(left);
    last = left;
  }
  last.next(right);
  return first;
}

// Removes `count` blocks, 1 at least, from the list `rest` and returns them in order. Calls itself as deep as `count`
// has bits.
pool_block merge_sort(pool_block& rest, std::size_t count) noexcept {
  if (count == 1) {
    const pool_block only = rest;
    rest = only.next();
    only.next(pool_block());
    return only;
  }
  const pool_block left = merge_sort(rest, count / 2);
  const pool_block right = merge_sort(rest, count - count / 2);
  return merge(left, right);
}

// Free chunks in order, as a list that grows at its end.
class ordered_list {
 public:
  void append(void* chunk) noexcept {
    set_next(last_, chunk);
    last_ = chunk;
  }
  void* close() noexcept {
    set_next(last_, nullptr);
    return first_;
  }

 private:
  void* first_ = nullptr;
  void* last_ = &first_;  ///< begins with the link to the next, as every chunk does
};

// Spreads addresses over all numbers, so that the sum of several stands for these and no others.
std::uint64_t spread(const void* chunk) noexcept {
  const std::uint64_t bits = reinterpret_cast<std::uintptr_t>(chunk) * 0x9E3779B97F4A7C15;
  return (bits ^ bits >> 32) * 0xD6E8FEB86659FD93;
}

// Some free chunks in no order, all within 2 to the power `bits` bytes from `begin`.
struct part {
  void* first;
  std::uintptr_t begin;
  unsigned bits;
};

constexpr unsigned leaf_bits = 15;   // 32 KiB: half of a first-level cache holds it, or all
constexpr unsigned bucket_bits = 9;  // how many bits of the address one dealing out uses

// A part that fits into the cache: notes where chunks begin, and reads that off in order. If a chunk was freed twice,
// the list leads back to it and then on in a ring.
void sort_leaf(const part& leaf, ordered_list& sorted) noexcept {
  constexpr std::size_t unit = 8, cache_line = 64;  // bytes; chunks begin at multiples of the first
  constexpr std::size_t size = std::size_t{1} << leaf_bits;
  for (std::size_t at = 0; at < size; at += cache_line) {
    __builtin_prefetch(reinterpret_cast<const char*>(leaf.begin) + at);
  }
  std::array<std::uint64_t, size / unit / 64> begins = {};
  for (void* chunk = leaf.first; chunk != nullptr; chunk = next_of(chunk)) {
    const std::size_t place = (reinterpret_cast<std::uintptr_t>(chunk) - leaf.begin) / unit;
    const std::uint64_t bit = std::uint64_t{1} << place % 64;
    if ((begins[place / 64] & bit) != 0) {
      break;
    }
    begins[place / 64] |= bit;
  }
  for (std::size_t word = 0; word < begins.size(); ++word) {
    for (std::uint64_t bits = begins[word]; bits != 0; bits &= bits - 1) {
      const std::size_t place = word * 64 + static_cast<std::size_t>(std::countr_zero(bits));
      sorted.append(reinterpret_cast<void*>(leaf.begin + place * unit));
    }
  }
}

// Deals the chunks of a larger part out by the highest bits of their addresses, and sorts what comes of it. Calls
// itself four times deep at most.
void sort_part(const part& whole, ordered_list& sorted) noexcept {
  if (whole.bits <= leaf_bits) {
    sort_leaf(whole, sorted);
    return;
  }
  const unsigned shift = std::max(whole.bits - bucket_bits, leaf_bits);
  std::array<void*, std::size_t{1} << bucket_bits> buckets = {};
  for (void* chunk = whole.first; chunk != nullptr;) {
    void*& bucket = buckets[(reinterpret_cast<std::uintptr_t>(chunk) - whole.begin) >> shift];
    void* const next = next_of(chunk);
    set_next(chunk, bucket);
    bucket = chunk;
    chunk = next;
  }
  for (std::size_t number = 0; number < buckets.size(); ++number) {
    if (buckets[number] != nullptr) {
      sort_part({buckets[number], whole.begin + (number << shift), shift}, sorted);
    }
  }
}

}  // namespace

void chunk_pool::sort_blocks() noexcept {
  std::size_t count = 0;
  for (pool_block block = list; block.valid(); block = block.next()) {
    ++count;
  }
  if (count != 0) {
    list = merge_sort(list, count);
  }
}

void chunk_pool::sort_free_chunks() noexcept {
  if (first == nullptr) {
    return;
  }
  const auto begin = reinterpret_cast<std::uintptr_t>(list.begin());
  pool_block last = list;
  while (last.next().valid()) {
    last = last.next();
  }
  const std::uintptr_t size = reinterpret_cast<std::uintptr_t>(last.end()) - begin;
  ordered_list sorted;
  sort_part({first, begin, static_cast<unsigned>(std::bit_width(size))}, sorted);
  first = sorted.close();
}

void* chunk_pool::malloc_from_new_block(size_type most_chunks) {
  // `set_next_size` would do more: it also changes the size with which the pool goes on after a release.
  next_size = std::min(next_size, most_chunks);
  void* const chunk = pool::malloc();
  handed_out_ += chunk != nullptr;
  return chunk;
}

// If all are in the list, then a link leads to each of them once, and one to nowhere. What is handed out has the
// client's content in place of a link.
bool chunk_pool::has_all_chunks() const noexcept {
  std::uint64_t links = spread(first), expected = spread(nullptr);
  for (pool_block block = list; block.valid(); block = block.next()) {
    for (const char* chunk = block.begin(); chunk != block.end(); chunk += alloc_size()) {
      links += spread(next_of(chunk));
      expected += spread(chunk);
    }
  }
  return links == expected;
}

bool chunk_pool::release_all() noexcept {
  const bool had_blocks = purge_memory();
  next_size = start_size;  // Also after a failed request, which has halved it.
  return had_blocks;
}

bool chunk_pool::release() noexcept {
  if (handed_out_ == returned_ && has_all_chunks()) {
    return release_all();
  }
  sort_blocks();
  sort_free_chunks();
  return release_memory();
}

}  // namespace foundation::core::mem::detail

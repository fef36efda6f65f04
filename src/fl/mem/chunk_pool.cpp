// How a pool is sorted. Its free chunks form a list, each beginning with a link to the next, and its blocks form
// another. Both are sorted by merging on the lists themselves.
//
// The list of chunks can be far larger than the cache, and to follow a link to a chunk that is not in the cache costs
// more than sorting the chunk. As the list leads anywhere in the pool, that is the price of each chunk when the list is
// first walked; it must not be paid for each merging again. So this one walk deals the chunks out to parts of the pool
// that fit into the cache. Then each part is fetched, which is cheap since its memory lies in a row, and sorted. What
// dealing out costs does not count: it goes on while the next chunk is on its way.
#include "mem/chunk_pool.hpp"

#include <array>
#include <cstddef>
#include <iterator>
#include <utility>

namespace foundation::core::mem::detail {
namespace {

using pool_block = boost::details::PODptr<std::size_t>;

// The words in which both lists are sorted.

void* next_of(void* chunk) noexcept {
  return *static_cast<void**>(chunk);
}

void set_next(void* chunk, void* next) noexcept {
  *static_cast<void**>(chunk) = next;
}

const void* address_of(const void* chunk) noexcept {
  return chunk;
}

pool_block next_of(const pool_block& block) noexcept {
  return block.next();
}

void set_next(const pool_block& block, const pool_block& next) noexcept {
  block.next(next);
}

const void* address_of(const pool_block& block) noexcept {
  return block.begin();
}

// Of two ordered lists, neither of them empty.
template <class Node>
Node merge(Node left, Node right) noexcept {
  if (address_of(right) < address_of(left))
    std::swap(left, right);
  const Node first = left;
  Node last = left;
  for (left = next_of(left); address_of(left) != nullptr; left = next_of(left)) {
    if (address_of(right) < address_of(left))
      std::swap(left, right);
    set_next(last, left);
    last = left;
  }
  set_next(last, right);
  return first;
}

// Takes `count` nodes, 1 at least, off the list `rest` and returns them in order. Calls itself as deep as `count` has
// bits.
template <class Node>
Node merge_sort(Node& rest, std::size_t count) noexcept {
  if (count == 1) {
    const Node only = rest;
    rest = next_of(only);
    set_next(only, Node());
    return only;
  }
  const Node left = merge_sort(rest, count / 2);
  const Node right = merge_sort(rest, count - count / 2);
  return merge(left, right);
}

// A stretch of a block's memory, and the free chunks that begin there.
struct part {
  const char* begin;
  std::size_t size;   ///< in bytes
  void* first;        ///< of the chunks, a list without order; null if there are none
  std::size_t count;  ///< of the chunks
};

// Brings the memory of a part into the cache, unless there are so few free chunks that it would not pay. To the
// compiler a prefetch is no effect, and it would leave out the call of a function with no other.
[[gnu::always_inline]] inline void fetch(const part& wanted) noexcept {
  constexpr std::size_t cache_line = 64;
  if (wanted.count < wanted.size / (4 * cache_line))
    return;
  for (std::size_t at = 0; at < wanted.size; at += cache_line)
    __builtin_prefetch(wanted.begin + at);
}

// All memory of a pool in parts, in the order of addresses.
class part_table {
 public:
  /// `blocks` are in order.
  explicit part_table(const pool_block& blocks) noexcept {
    std::size_t total = 0;
    for (pool_block block = blocks; block.valid(); block = block.next())
      total += block.element_size();
    // Each block has one part that is smaller. With more blocks than half of the table, some may find no place.
    const std::size_t part_size = std::max(least_size, total / (parts_.size() / 2));
    for (pool_block block = blocks; block.valid(); block = block.next())
      add(block, part_size);
  }

  void deal_out(void* chunk) noexcept {
    const auto begins_behind = [](const void* p, const part& one) { return p < one.begin; };
    part& its_part = *std::prev(std::upper_bound(begin(), end(), chunk, begins_behind));
    set_next(chunk, its_part.first);
    its_part.first = chunk;
    ++its_part.count;
  }

  part* begin() noexcept { return parts_.data(); }
  part* end() noexcept { return parts_.data() + used_; }

 private:
  static constexpr std::size_t least_size = 0x8000;  ///< of a part, in bytes

  // What finds no place in the table counts as of its last part.
  void add(const pool_block& block, std::size_t part_size) noexcept {
    for (std::size_t at = 0; at < block.element_size() && used_ != parts_.size(); at += part_size)
      parts_[used_++] = {block.begin() + at, std::min(part_size, block.element_size() - at), nullptr, 0};
  }

  std::array<part, 512> parts_;
  std::size_t used_ = 0;
};

}  // namespace

void chunk_pool::sort_blocks() noexcept {
  std::size_t count = 0;
  for (pool_block block = list; block.valid(); block = block.next())
    ++count;
  if (count != 0)
    list = merge_sort(list, count);
}

void chunk_pool::sort_free_chunks() noexcept {
  part_table parts(list);
  for (void* chunk = first; chunk != nullptr;)
    parts.deal_out(std::exchange(chunk, next_of(chunk)));
  void* last = &first;
  for (part& one : parts) {
    if (one.count == 0)
      continue;
    fetch(one);
    set_next(last, merge_sort(one.first, one.count));
    while (next_of(last) != nullptr)
      last = next_of(last);
  }
}

void chunk_pool::sort() noexcept {
  sort_blocks();
  sort_free_chunks();
}

}  // namespace foundation::core::mem::detail

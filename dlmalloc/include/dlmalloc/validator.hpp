// Validates the whole state of an arena: for the checking build, which does it after each operation, and for tests. A
// report has the path of malloc.hpp, and the line and the function here that found the fault.
//
// Belongs to the unit that includes malloc.hpp, as the arena does.
#pragma once

#include <dlmalloc/malloc.hpp>

namespace foundation::core::mem::dlmalloc {

namespace {

/// What was counted of free chunks, the designated victim included and top not.
struct free_count {
  std::size_t chunks = 0;
  std::size_t bytes = 0;
  std::uint64_t index_map = 0;  ///< the nodes of the index that were met

  void add(const chunk* c) {
    ++chunks;
    bytes += c->size();
  }
};

void validate_free_chunk(const malloc_state& m, chunk* c) {
  const std::size_t size = c->size();
  require(m.owns(c) && reinterpret_cast<std::uintptr_t>(c->block()) % block_alignment == 0);
  require(size >= min_chunk_size && size % block_alignment == 0);
  require((c->head & chunk::all_flags) == chunk::previous_in_use);
  require(c->following()->previous_size == size && !c->following()->follows_used() && c->following()->is_in_use());
}

void validate_victim(const malloc_state& m, free_count& count) {
  require((m.victim == nullptr) == (m.victim_size == 0));
  if (m.victim == nullptr) {
    return;
  }
  require(m.victim->size() == m.victim_size);
  validate_free_chunk(m, m.victim);
  count.add(m.victim);
}

void validate_small_bins(malloc_state& m, free_count& count) {
  for (unsigned number = 0; number < small_bin_count; ++number) {
    chunk* const bin = &m.small_bins[number];
    require(((m.small_map & bit_of(number)) != 0) == (bin->next != bin));
    for (chunk* c = bin; c->next != bin; c = c->next) {
      require(c->next->previous == c && c->next != m.victim && c->next->size() == size_of_small_bin(number));
      validate_free_chunk(m, c->next);
      count.add(c->next);
    }
    require(bin->previous->next == bin);
  }
}

void validate_ring(const malloc_state& m, tree_chunk* node, free_count& count) {
  tree_chunk* c = node;
  do {
    require(c->size() == node->size() && c->bin == node->bin && c != m.victim);
    require(c->next->previous == c && (c->is_node != 0) == (c == node));
    validate_free_chunk(m, c);
    count.add(c);
    c = c->next_of_size();
  } while (c != node);
}

/// `path`: the sides that lead from the root to the node, of which there are `depth`.
void validate_trie(const malloc_state& m, tree_chunk* node, std::size_t path, unsigned depth, free_count& count) {
  require(tree_bin_of(node->size()) == node->bin && (m.tree_map & bit_of(node->bin)) != 0);
  require(depth == 0 || deciding_bits(node->size(), node->bin) >> (8 * word_size - depth) == path);
  if (node->size() < index_limit) {
    require(m.index[index_of(node->size())] == node);
    count.index_map |= index_bit(node->size());
  }
  validate_ring(m, node, count);
  for (unsigned side = 0; side < 2; ++side) {
    if (tree_chunk* const child = node->child[side]) {
      require(child->parent == node && child->bin == node->bin);
      validate_trie(m, child, 2 * path + side, depth + 1, count);
    }
  }
}

void validate_tree_bins(const malloc_state& m, free_count& count) {
  for (unsigned number = 0; number < tree_bin_count; ++number) {
    tree_chunk* const root = m.tree_bins[number];
    require(((m.tree_map & bit_of(number)) != 0) == (root != nullptr));
    if (root == nullptr) {
      continue;
    }
    require(root->parent == nullptr && root->bin == number);
    validate_trie(m, root, 0, 0, count);
  }
}

/// Walks the chunks from the first to `end`, which is top or the record of the segment.
void validate_chunks(const malloc_state& m, const segment& s, chunk* end, free_count& count) {
  bool previous_in_use = true;
  chunk* c = s.first_chunk();
  for (; c != end; c = c->following()) {
    require(c < end && c->size() >= min_chunk_size && c->size() % block_alignment == 0);
    require(c->follows_used() == previous_in_use);
    previous_in_use = c->is_in_use();
    if (!previous_in_use) {
      validate_free_chunk(m, c);
      count.add(c);
    }
  }
  require(c->follows_used() == previous_in_use);
}

void validate_segment(malloc_state& m, segment& s, free_count& count) {
  require(m.owns(s.base) && s.size % params.granularity == 0);
  chunk* const foot = reinterpret_cast<chunk*>(s.end() - top_foot_size);
  if (&s == &m.latest) {
    require(m.top->size() == m.top_size && (m.top->head & chunk::all_flags) == chunk::previous_in_use);
    require(m.top->following() == foot && foot->head == top_foot_size && m.top_size >= min_chunk_size);
    validate_chunks(m, s, m.top, count);
  } else {
    require(s.magic == params.magic && foot->block() == &s && foot->is_in_use() && foot->size() == record_chunk_size);
    require(foot->following()->head == chunk::fencepost);
    validate_chunks(m, s, foot, count);
  }
}

/// Ends the process unless the whole state is as it must be. The caller holds the lock.
void validate(malloc_state& m) {
  require(m.footprint <= m.max_footprint);
  if (m.top == nullptr) {
    require(m.top_size == 0 && m.victim == nullptr && m.small_map == 0 && m.tree_map == 0 && m.footprint == 0);
    return;
  }
  require(m.mflags == params.default_mflags);
  free_count in_bins;
  validate_victim(m, in_bins);
  validate_small_bins(m, in_bins);
  validate_tree_bins(m, in_bins);
  free_count in_segments;
  std::size_t segment_bytes = 0;
  for (segment* s = &m.latest; s != nullptr; s = s->next) {
    validate_segment(m, *s, in_segments);
    segment_bytes += s->size;
  }
  require(in_bins.chunks == in_segments.chunks && in_bins.bytes == in_segments.bytes);
  require(in_bins.index_map == m.index_map);
  require(segment_bytes <= m.footprint && (m.footprint - segment_bytes) % params.granularity == 0);
}

}  // namespace

}  // namespace foundation::core::mem::dlmalloc

// The idea: one pass in blocks of 16 bytes, each loaded at its place and stored where the text before it ended. Nearly
// all blocks of a text hold one line end or none. For these no branch asks whether or where: the block is loaded twice,
// from its first and from its second byte on, and the result is the first of these up to the removed carriage return
// and the second one behind it. (With lines of varying length, a branch on the line end is mispredicted once a line,
// and that costs more than all the rest.) Two line ends need a third load in the same way; blocks with more are closed
// up by shifting, in a time that does not depend on how many they are.
//
// In place is safe because text only moves down: a store ends at most where its block does, and what comes behind the
// block is still untouched.
//
// SSE2 is part of every x86-64 processor, so nothing is asked of the processor here.
#include "process/pipe/crlf.hpp"

#include <emmintrin.h>

#include <bit>

namespace foundation::core::process::detail {
namespace {

constexpr char carriage_return = '\r';
constexpr char line_feed = '\n';

constexpr std::size_t block_bytes = 16;
// The third load of a block reads two bytes beyond it.
constexpr std::size_t lookahead_bytes = 2;

__m128i load(const char* from) noexcept {
  return _mm_loadu_si128(reinterpret_cast<const __m128i*>(from));
}
void store(char* to, __m128i block) noexcept {
  _mm_storeu_si128(reinterpret_cast<__m128i*>(to), block);
}

// The 16 bytes from `first_bytes + 16 - n` on have all bits set in the first n of them and none in the others.
alignas(2 * block_bytes) constexpr unsigned char first_bytes[2 * block_bytes] = {
    0xFF, 0xFF, 0xFF, 0xFF, 0xFF, 0xFF, 0xFF, 0xFF, 0xFF, 0xFF, 0xFF, 0xFF, 0xFF, 0xFF, 0xFF, 0xFF};

__m128i mask_of_first(unsigned count) noexcept {
  return _mm_loadu_si128(reinterpret_cast<const __m128i*>(first_bytes + block_bytes - count));
}

__m128i choose(__m128i mask, __m128i where_set, __m128i where_clear) noexcept {
  return _mm_or_si128(_mm_and_si128(mask, where_set), _mm_andnot_si128(mask, where_clear));
}

// Moves the bytes whose distance has the bit `step` down by `step`, and their distances with them. Bytes that are
// dropped are overwritten.
template <int step>
void move_down(__m128i& bytes, __m128i& distances) noexcept {
  const __m128i bit = _mm_set1_epi8(step);
  const __m128i moves = _mm_cmpeq_epi8(_mm_and_si128(distances, bit), bit);
  const __m128i arrives = _mm_srli_si128(moves, step);
  bytes = choose(arrives, _mm_srli_si128(bytes, step), bytes);
  distances = choose(arrives, _mm_srli_si128(distances, step), _mm_andnot_si128(moves, distances));
}

// Closes up a block in which the bytes marked in `dropped` (all bits set) go away, and returns how many these are.
// Every other byte moves down by the number of dropped ones before it, in the power-of-two steps of that number.
unsigned close_up(__m128i& bytes, __m128i dropped) noexcept {
  __m128i counts = _mm_sub_epi8(_mm_setzero_si128(), dropped);
  counts = _mm_add_epi8(counts, _mm_slli_si128(counts, 1));
  counts = _mm_add_epi8(counts, _mm_slli_si128(counts, 2));
  counts = _mm_add_epi8(counts, _mm_slli_si128(counts, 4));
  counts = _mm_add_epi8(counts, _mm_slli_si128(counts, 8));
  __m128i distances = _mm_andnot_si128(dropped, counts);
  move_down<1>(bytes, distances);
  move_down<2>(bytes, distances);
  move_down<4>(bytes, distances);
  move_down<8>(bytes, distances);
  return static_cast<unsigned>(_mm_extract_epi16(counts, 7)) >> 8;
}

// An offset up to which there is no carriage return, close before the first one or before the end.
std::size_t skip_without_carriage_return(const char* text, std::size_t length) noexcept {
  const __m128i returns = _mm_set1_epi8(carriage_return);
  std::size_t at = 0;
  for (; length - at >= 2 * block_bytes; at += 2 * block_bytes) {
    const __m128i first = _mm_cmpeq_epi8(load(text + at), returns);
    const __m128i second = _mm_cmpeq_epi8(load(text + at + block_bytes), returns);
    if (_mm_movemask_epi8(_mm_or_si128(first, second)) != 0) {
      break;
    }
  }
  return at;
}

struct position {
  const char* from;  // where the untranslated text begins
  char* to;          // where the translated text ends
};

struct packed_block {
  __m128i bytes;     // the kept bytes first, then anything
  std::size_t kept;  // how many
};

// The block at `from` without its bytes marked in `dropped`, of which `drops` is the bit mask.
packed_block pack(const char* from, __m128i block, __m128i from_second, __m128i dropped, unsigned drops) noexcept {
  constexpr unsigned stop = 1U << block_bytes;  // makes the position of "none" 16
  const auto first = static_cast<unsigned>(std::countr_zero(drops | stop));
  const unsigned after_first = drops & (drops - 1);
  if (after_first == 0) {
    return {choose(mask_of_first(first), block, from_second), block_bytes - (drops != 0)};
  }

  if ((after_first & (after_first - 1)) == 0) {
    const auto second = static_cast<unsigned>(std::countr_zero(after_first));
    const __m128i behind_first = choose(mask_of_first(second - 1), from_second, load(from + 2));
    return {choose(mask_of_first(first), block, behind_first), block_bytes - 2};
  }

  const unsigned count = close_up(block, dropped);
  return {block, block_bytes - count};
}

// Translates whole blocks, and leaves the rest, shorter than a block and its look-ahead, to the caller.
position translate_blocks(position at, const char* end) noexcept {
  const __m128i returns = _mm_set1_epi8(carriage_return);
  const __m128i feeds = _mm_set1_epi8(line_feed);
  while (static_cast<std::size_t>(end - at.from) >= block_bytes + lookahead_bytes) {
    const __m128i block = load(at.from);
    const __m128i from_second = load(at.from + 1);
    const __m128i dropped = _mm_and_si128(_mm_cmpeq_epi8(block, returns), _mm_cmpeq_epi8(from_second, feeds));
    const auto drops = static_cast<unsigned>(_mm_movemask_epi8(dropped));
    const packed_block packed = pack(at.from, block, from_second, dropped, drops);
    store(at.to, packed.bytes);
    at.from += block_bytes;
    at.to += packed.kept;
  }
  return at;
}

}  // namespace

translated_text translate_crlf(char* text, std::size_t length) noexcept {
  const std::size_t untouched = skip_without_carriage_return(text, length);
  const char* const end = text + length;
  auto [from, to] = translate_blocks({text + untouched, text + untouched}, end);
  for (; from != end; ++from) {
    if (*from == carriage_return) {
      if (from + 1 == end) {
        return {static_cast<std::size_t>(to - text), true};
      }
      if (from[1] == line_feed) {
        continue;
      }
    }
    *to++ = *from;
  }
  return {static_cast<std::size_t>(to - text), false};
}

}  // namespace foundation::core::process::detail

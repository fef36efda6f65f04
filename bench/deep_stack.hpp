// Stacks of a wanted number of frames: a recursion in a thread of its own, whose start is short and the same for every
// contender, while the depth at which a benchmark calls a contender is not. Any thread.
#pragma once

#include <algorithm>
#include <cstddef>
#include <vector>

namespace bench {

/// The frames of a captured stack, innermost first.
using frames = std::vector<const void*>;

/// The frames among what a capture wrote. Behind the function in which a thread starts, Wine reports the words that lie
/// on the stack there: a null, the address and the argument of the thread's function, and perhaps another null. The
/// first null ends the stack, for each contender alike.
template <class Iterator>
frames until_null(Iterator first, Iterator last) {
  const void* const null = nullptr;
  return frames(first, std::find(first, last, null));
}

/// Captures its own stack `times` times, which is not 0, and gives the last one. Must not throw.
using capturer = frames (*)(std::size_t times);

/// Starts a thread, calls `capture` at the end of `depth` nested calls in it and gives what that gave.
frames capture_at_depth(std::size_t depth, capturer capture, std::size_t times);

/// The depth at which `capture` finds exactly `wanted` frames; throws if there is none.
std::size_t depth_of(std::size_t wanted, capturer capture);

}  // namespace bench

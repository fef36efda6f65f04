#include "deep_stack.hpp"

#include "as_written.hpp"

#include <benchmark/benchmark.h>

#include <stdexcept>
#include <string>
#include <thread>

namespace bench {
namespace {

// One frame a call: the optimiser sees neither into it nor, behind the call, that nothing is left to do.
AS_WRITTEN frames descend(std::size_t depth, capturer capture, std::size_t times) {
  frames result = depth == 0 ? capture(times) : descend(depth - 1, capture, times);
  benchmark::ClobberMemory();
  return result;
}

}  // namespace

frames capture_at_depth(std::size_t depth, capturer capture, std::size_t times) {
  frames result;
  std::thread([&] { result = descend(depth, capture, times); }).join();
  return result;
}

// A call adds a frame, which is tried and not believed.
std::size_t depth_of(std::size_t wanted, capturer capture) {
  const std::size_t least = capture_at_depth(0, capture, 1).size();
  if (least > wanted || capture_at_depth(wanted - least, capture, 1).size() != wanted) {
    throw std::runtime_error("no depth gives a stack of " + std::to_string(wanted) + " frames");
  }
  return wanted - least;
}

}  // namespace bench

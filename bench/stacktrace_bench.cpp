// Captures stacks of three sizes: stacktrace_base::capture against the bare system function that it calls, and against
// a construction of Boost.Stacktrace's class, which copies the frames into a vector. Each contender's depth is the one
// at which it finds as many frames as the others, whichever frames of its own it counts, and each has room for exactly
// these: a walk that goes on behind the stack's end spends most of its time there under Wine.

#include <fl/diag/stacktrace.hpp>

#include "deep_stack.hpp"
#include "row.hpp"

#include <boost/stacktrace.hpp>

#include <windows.h>

#include <array>
#include <cstdint>
#include <stdexcept>
#include <string>

namespace {

constexpr std::size_t captures = 100000;

// The contender's own frames, the innermost ones, which are not compared. The others are the same for all.
constexpr std::size_t own_frames = 3;

template <std::size_t N>
bench::frames capture_ours(std::size_t times) {
  foundation::core::diag::stacktrace<N> stack(0, false);
  for (; times != 0; --times) {
    stack.capture(0);
  }
  return bench::until_null(stack.begin(), stack.end());
}

template <std::size_t N>
bench::frames capture_bare(std::size_t times) {
  std::array<void*, N> stack;
  std::size_t size = 0;
  for (; times != 0; --times) {
    size = RtlCaptureStackBackTrace(0, N, stack.data(), nullptr);
  }
  return bench::until_null(stack.data(), stack.data() + size);
}

template <std::size_t N>
bench::frames capture_boost(std::size_t times) {
  for (; times > 1; --times) {
    const boost::stacktrace::basic_stacktrace<> stack(0, N);
    benchmark::DoNotOptimize(stack.size());
  }
  bench::frames last;
  for (const boost::stacktrace::frame& frame : boost::stacktrace::basic_stacktrace<>(0, N)) {
    last.push_back(frame.address());
  }
  return last;
}

bench::contender capture_of(std::size_t frames, bench::capturer capture) {
  const std::size_t depth = bench::depth_of(frames, capture);
  return {[=](bench::product& result) {
    const bench::frames last = bench::capture_at_depth(depth, capture, captures);
    if (last.size() != frames) {
      throw std::runtime_error("a stack has " + std::to_string(last.size()) + " frames instead of " +
                               std::to_string(frames));
    }
    result.add_value(std::uint64_t{last.size()});
    for (std::size_t i = own_frames; i < last.size(); ++i) {
      result.add_value(last[i]);
    }
  }};
}

template <std::size_t N>
void add_rows() {
  const std::string name = "capture_" + std::to_string(N);
  bench::add_row(name + "_vs_rtlcapture", capture_of(N, capture_ours<N>), capture_of(N, capture_bare<N>));
  bench::add_row(name + "_vs_boost_stacktrace", capture_of(N, capture_ours<N>), capture_of(N, capture_boost<N>));
}

}  // namespace

int main(int argc, char** argv) {
  add_rows<18>();
  add_rows<34>();
  add_rows<60>();
  return bench::run(argc, argv);
}

#include "progress.hpp"

#include <cstdio>

using std::chrono::steady_clock;
using namespace std::chrono_literals;

namespace {

double mebibytes(std::uint64_t bytes) {
  return static_cast<double>(bytes) / (1024 * 1024);
}

}  // namespace

progress::progress(std::uint64_t total) : total_(total), next_(steady_clock::now() + 1s) {}

progress::~progress() {
  if (shown_) {
    std::fputc('\n', stderr);
  }
}

void progress::add(std::uint64_t bytes) {
  done_ += bytes;
  if (steady_clock::now() < next_) {
    return;
  }
  next_ = steady_clock::now() + 500ms;
  shown_ = true;
  if (total_ != 0) {
    std::fprintf(stderr, "\r%.1f of %.1f MiB", mebibytes(done_), mebibytes(total_));
  } else {
    std::fprintf(stderr, "\r%.1f MiB", mebibytes(done_));
  }
  std::fflush(stderr);
}

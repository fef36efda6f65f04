#include "host/process_end.hpp"

#include "util/process_end.hpp"

#include <atomic>

namespace {

std::atomic<bool> process_ends{false};

}  // namespace

void test_support::set_process_is_ending(bool value) {
  process_ends = value;
}

bool foundation::core::util::process_is_ending() noexcept {
  return process_ends;
}

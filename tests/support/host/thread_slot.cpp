#include "util/thread_slot.hpp"

#include "util/keep_loaded.hpp"

#include <atomic>

namespace foundation::core::util {

namespace {

std::atomic<unsigned long> slots = 0;
thread_local void* values[8] = {};

}  // namespace

void keep_library_loaded() noexcept {}

thread_slot::thread_slot() noexcept : index_(slots++) {}

void* thread_slot::get() const noexcept {
  return values[index_];
}

void thread_slot::set(void* value) {
  values[index_] = value;
}

}  // namespace foundation::core::util

// The library's reader/writer lock for the native build: spins on the one word that it has.
#include "util/slim_lock.hpp"

#include <atomic>
#include <cstdint>
#include <thread>

namespace foundation::core::util {
namespace {

constexpr std::intptr_t writer = -1;  // Otherwise the number of readers.

std::atomic_ref<std::intptr_t> word(void** state) {
  return std::atomic_ref(*reinterpret_cast<std::intptr_t*>(state));
}

}  // namespace

void slim_lock::lock() noexcept {
  for (std::intptr_t nobody = 0; !word(&state_).compare_exchange_weak(nobody, writer); nobody = 0) {
    std::this_thread::yield();
  }
}

void slim_lock::unlock() noexcept {
  word(&state_) = 0;
}

void slim_lock::lock_shared() noexcept {
  for (;;) {
    std::intptr_t readers = word(&state_);
    if (readers != writer && word(&state_).compare_exchange_weak(readers, readers + 1)) {
      return;
    }
    std::this_thread::yield();
  }
}

void slim_lock::unlock_shared() noexcept {
  --word(&state_);
}

}  // namespace foundation::core::util

// One object that is built at its first use and never destroyed, in static storage: for engines that must work while
// everything else is being taken down.
#pragma once

#include "util/waiting.hpp"

#include <atomic>
#include <new>

namespace foundation::core::util {

/// Constant-initialised. Allocates nothing itself; threads that come while the object is being built wait for it.
template <class T>
class built_once {
 public:
  constexpr built_once() noexcept : storage_{} {}

  /// Throws what the constructor of `T` throws; the next call tries again.
  T& get() {
    if (state_.load(std::memory_order_acquire) != built) {
      build();
    }
    return *std::launder(reinterpret_cast<T*>(storage_));
  }

 private:
  enum state : long { none, building, built };

  void build() {
    unsigned turn = 0;
    for (long seen = none; !state_.compare_exchange_weak(seen, building, std::memory_order_acquire); seen = none) {
      if (seen == built) {
        return;
      }
      wait_turn(turn++);
    }
    try {
      ::new (static_cast<void*>(storage_)) T;
    } catch (...) {
      state_.store(none, std::memory_order_release);
      throw;
    }
    state_.store(built, std::memory_order_release);
  }

  std::atomic<long> state_{none};
  alignas(T) unsigned char storage_[sizeof(T)];
};

}  // namespace foundation::core::util

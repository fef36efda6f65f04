// A mutual-exclusion lock for code that a fault can interrupt: the handler of the fault runs on the same thread and may
// want the same lock, and must not hang there.
#pragma once

#include "util/slim_lock.hpp"
#include "util/thread_id.hpp"

#include <atomic>
#include <system_error>

namespace foundation::core::util {

/// Needs no construction and allocates nothing, unlike the run-time's mutex, which is allocated when it is first
/// locked.
class checked_lock {
 public:
  constexpr checked_lock() noexcept = default;

  /// Throws `std::system_error` (resource_deadlock_would_occur) if the calling thread holds the lock.
  void lock() {
    const unsigned long self = current_thread_id();
    if (owner_.load(std::memory_order_relaxed) == self)
      throw std::system_error(std::make_error_code(std::errc::resource_deadlock_would_occur));
    lock_.lock();
    owner_.store(self, std::memory_order_relaxed);
  }
  void unlock() noexcept {
    owner_.store(nobody, std::memory_order_relaxed);
    lock_.unlock();
  }

 private:
  static constexpr unsigned long nobody = 0;

  slim_lock lock_;
  std::atomic<unsigned long> owner_{nobody};  ///< The id of the thread that holds the lock.
};

}  // namespace foundation::core::util

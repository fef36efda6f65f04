// A mutual-exclusion lock for code that a fault can interrupt. The handler of the fault may want the same lock, on the
// same thread, or on another one while the first waits for it, and must not hang there.
#pragma once

#include "util/slim_lock.hpp"
#include "util/thread_id.hpp"

#include <atomic>
#include <chrono>
#include <system_error>
#include <thread>

namespace foundation::core::util {

/// Needs no construction and allocates nothing, unlike the run-time's mutex, which is allocated when it is first
/// locked.
class checked_lock {
 public:
  using duration = std::chrono::milliseconds;

  constexpr checked_lock() noexcept = default;
  /// `lock` waits no longer than `limit`. It looks again and again, so this is for locks that are rarely fought for.
  constexpr explicit checked_lock(duration limit) noexcept : limit_(limit) {}

  /// Throws `std::system_error`: resource_deadlock_would_occur if the calling thread holds the lock, timed_out if
  /// another one has held it for too long.
  void lock() {
    const unsigned long self = current_thread_id();
    if (owner_.load(std::memory_order_relaxed) == self)
      throw std::system_error(std::make_error_code(std::errc::resource_deadlock_would_occur));
    if (limit_ == forever)
      lock_.lock();
    else
      lock_within_limit();
    owner_.store(self, std::memory_order_relaxed);
  }
  void unlock() noexcept {
    owner_.store(nobody, std::memory_order_relaxed);
    lock_.unlock();
  }

 private:
  static constexpr unsigned long nobody = 0;
  static constexpr duration forever = duration::max();

  void lock_within_limit() {
    const auto end = std::chrono::steady_clock::now() + limit_;
    while (!lock_.try_lock()) {
      if (std::chrono::steady_clock::now() >= end)
        throw std::system_error(std::make_error_code(std::errc::timed_out));
      std::this_thread::sleep_for(std::chrono::milliseconds(1));
    }
  }

  slim_lock lock_;
  std::atomic<unsigned long> owner_{nobody};  ///< The id of the thread that holds the lock.
  duration limit_ = forever;
};

}  // namespace foundation::core::util

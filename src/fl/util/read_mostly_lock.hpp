// A reader/writer lock for reads that are short and that many threads make at once. A reader adds itself to a count in
// one step, where the system's lock has its readers try until they win: two threads that read all the time need a
// quarter of the time. A writer pays for that by watching the count until the readers are out.
//
// Needs no construction, allocates nothing, cannot fail, not recursive: all as slim_lock, on which it stands. A thread
// that wants to write keeps new readers out, so that it is not put off for ever.
#pragma once

#include "util/process_end.hpp"
#include "util/slim_lock.hpp"
#include "util/waiting.hpp"

#include <atomic>
#include <cstdint>
#include <shared_mutex>

namespace foundation::core::util {

class read_mostly_lock {
 public:
  constexpr read_mostly_lock() noexcept = default;
  read_mostly_lock(const read_mostly_lock&) = delete;
  read_mostly_lock& operator=(const read_mostly_lock&) = delete;

  /// At the end of the process, when there is one thread left, without effect: a holder is gone, and who waits for it
  /// waits for ever.
  void lock() noexcept {
    if (process_is_ending()) {
      return;
    }
    gate_.lock();
    readers_.fetch_or(writer);
    for (unsigned turn = 0; readers_ != writer; ++turn) {
      wait_turn(turn);
    }
  }

  void unlock() noexcept {
    if (process_is_ending()) {
      return;
    }
    readers_.fetch_and(~writer);
    gate_.unlock();
  }

  void lock_shared() noexcept {
    if ((readers_.fetch_add(1) & writer) == 0 || process_is_ending()) {
      return;
    }
    readers_.fetch_sub(1);
    const std::shared_lock no_writer(gate_);
    readers_.fetch_add(1);
  }

  void unlock_shared() noexcept { readers_.fetch_sub(1); }

 private:
  static constexpr std::uint32_t writer = 0x80000000;

  slim_lock gate_;                         ///< held by the writer; readers that met one wait at it
  std::atomic<std::uint32_t> readers_{0};  ///< how many read, and the bit `writer` while one writes or waits for them
};

}  // namespace foundation::core::util

// The process's one holder of the system's symbol service, which is started when somebody needs it, counted, and
// stopped when nobody does. Every call into the service stands under the engine's lock: it is not safe for use by
// several threads.
//
// A thread may be stopped inside the service by a fault, such as the end of its stack. So nobody waits for the lock
// without end: without it, stacks are walked and printed without the service.
#pragma once

#include "util/checked_lock.hpp"

#include <atomic>
#include <cstddef>
#include <cstdint>

namespace foundation::core::diag {

class symbol_engine {
 public:
  /// Built at first use, never destroyed.
  static symbol_engine& instance() noexcept;

  /// Guards all below.
  util::checked_lock& lock() noexcept { return lock_; }

  /// Adds a holder, and starts the service unless it runs. If it does not start, the next holder tries again.
  void acquire() noexcept;
  /// Removes a holder, and stops the service with the last one, unless it is reserved.
  void release() noexcept;
  /// Stops the service if it has no holder and is not reserved.
  void stop_if_unused() noexcept;

  /// Lets the service run on between two holders, without being one. Needs neither the engine nor its lock.
  static void reserve() noexcept { ++reservations_; }
  /// Takes one reservation back. Whether `stop_if_unused` is to be called, since that was the last one.
  static bool unreserve() noexcept { return --reservations_ == 0 && running_; }

  /// Whether the service runs.
  bool initialised() const noexcept { return running_; }
  void* process() const noexcept { return process_; }

  /// Writes the readable name of the symbol at `address`, zero-terminated and cut to fit, and how many bytes behind
  /// the symbol's start it lies. False if the service does not run or does not know. Allocates nothing itself.
  bool find_symbol(const void* address, char* name, std::size_t size, std::uint64_t& displacement) noexcept;

  symbol_engine() noexcept;

 private:
  void* process_;          ///< This process.
  char search_path_[260];  ///< The directory of the executable.
  /// The limit is longer than the service takes for what it does in one piece: reading the symbols of a module.
  util::checked_lock lock_{std::chrono::seconds(20)};
  bool has_options_ = false;  ///< Set by the first holder that could: the building of the engine must not fault.
  std::uint32_t holders_ = 0;
  static inline constinit std::atomic<std::uint32_t> reservations_{0};
  static inline constinit std::atomic<bool> running_{false};  ///< The service was started and not stopped yet.
};

/// Does `work` with the engine, under its lock. False if that is not to be had.
template <class Work>
bool with_symbol_engine(Work work) noexcept {
  symbol_engine& engine = symbol_engine::instance();
  if (engine.lock().acquire() != util::checked_lock::outcome::acquired) {
    return false;
  }
  work(engine);
  engine.lock().unlock();
  return true;
}

}  // namespace foundation::core::diag

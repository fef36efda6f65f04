// A mutual-exclusion lock for code that a fault can interrupt. The handler of the fault may want the same lock, on the
// same thread, or on another one while the first waits for it, and must not hang there.
//
// Slow or stopped. Who waits for a holder that works, however slowly, is to go on waiting; who waits for one that will
// never work again is not. A thread does not show which it is, so these are the signs of a stopped one:
//
//   - it is the calling thread itself, interrupted by a fault;
//   - the thread is found suspended, or ended, ten seconds long;
//   - the fault that somebody wants the lock for came up on the holder's own stack, and the lock is not free again
//     within ten seconds: the thread waits, in the handler of that fault, for its report;
//   - it has held the lock for longer than the lock's own limit, which stands for all that is left, such as a deadlock.
//
// The holder whom one thread has given up is given up for all: nobody else waits for it, until the lock is free again.
//
// Thread safety: any thread. Needs no construction, allocates nothing and throws nothing, unlike the run-time's mutex,
// which is allocated when it is first locked, and its condition, which allocates when it is first waited for. Nor does
// it stand on the system's lock, although nobody would wait in that: where releasing one always wakes who waits for an
// address, a thread stopped in the midst of this keeps a lock of the system's own, and the next to release waits for
// ever.
#pragma once

#include <atomic>
#include <chrono>
#include <cstdint>

namespace foundation::core::util {

class checked_lock {
 public:
  using duration = std::chrono::milliseconds;

  /// Of an attempt to acquire the lock.
  enum class outcome {
    acquired,     ///< the caller is to release it
    interrupted,  ///< the calling thread holds it already
    given_up      ///< another thread holds it and counts as stopped
  };

  /// Whoever holds the lock for longer than `limit` counts as stopped.
  constexpr explicit checked_lock(duration limit) noexcept : limit_(limit) {}

  /// Waits for the lock. `reported` is an address on the stack of the thread whose fault the lock is wanted for, null
  /// if it is not wanted for another thread's fault.
  outcome acquire(const void* reported = nullptr) noexcept;
  /// The same, but lets all go first that wait in `acquire`.
  outcome acquire_last() noexcept;
  void unlock() noexcept;

 private:
  class watch;

  outcome acquire(bool last, const void* reported) noexcept;
  bool gives_way(unsigned long self, unsigned turn) const noexcept;

  static constexpr unsigned long nobody = 0;

  std::atomic<bool> held_{false};
  std::atomic<unsigned long> owner_{nobody};   ///< the id of the thread that holds the lock
  std::atomic<unsigned long> former_{nobody};  ///< of the one that has it, or had it last
  std::atomic<const void*> owner_stack_{};     ///< an address on the owner's stack
  std::atomic<std::uint64_t> tenure_{1};       ///< counts the holders
  std::atomic<std::uint64_t> given_up_{0};     ///< the tenure that somebody has waited for in vain, or 0
  std::atomic<int> waiting_{0};                ///< how many threads are in `acquire`
  std::atomic<bool> looked_at_{false};         ///< a waiting thread asks whether the owner is stopped
  duration limit_;
};

}  // namespace foundation::core::util

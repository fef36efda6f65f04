// Who reports when threads crash: the first one, in steps that it goes on with where it crashes again.
//
// Thread safety: any thread; nothing waits.
#pragma once

#include <atomic>
#include <cstdint>

namespace foundation::kit {

/// Threads are known by numbers that are neither of the two below.
class crash_turn {
 public:
  enum class outcome : std::uint8_t {
    closed,  ///< no crash is to be reported
    first,   ///< the caller is the one to report
    again,   ///< the caller is reporting, and has crashed on the way
    other,   ///< another thread reports
  };

  /// From now on crashes are reported.
  void open() noexcept {
    step_ = 0;
    delegate_ = nobody;
    owner_ = nobody;
  }
  /// From now on they are not: `first`, or `closed` if it was so before. Otherwise somebody is reporting, which goes
  /// on: `again` if it is the caller.
  outcome close(std::uint32_t thread) noexcept { return take(thread, closed_to_all); }
  /// A thread has crashed.
  outcome arrive(std::uint32_t thread) noexcept { return take(thread, thread); }

  /// Another thread goes on for the one that reports.
  void delegate_to(std::uint32_t thread) noexcept { delegate_ = thread; }

  /// Begins the next step and returns its number, from 0: each is begun once.
  unsigned begin_step() noexcept { return step_++; }
  unsigned steps_begun() const noexcept { return step_; }

 private:
  static constexpr std::uint32_t nobody = 0, closed_to_all = 0xFFFFFFFF;

  outcome take(std::uint32_t thread, std::uint32_t value) noexcept {
    std::uint32_t owner = nobody;
    if (owner_.compare_exchange_strong(owner, value)) {
      return outcome::first;
    }
    if (owner == closed_to_all) {
      return outcome::closed;
    }
    return owner == thread || delegate_ == thread ? outcome::again : outcome::other;
  }

  std::atomic<std::uint32_t> owner_{closed_to_all};
  std::atomic<std::uint32_t> delegate_{nobody};
  std::atomic<unsigned> step_{0};
};

}  // namespace foundation::kit

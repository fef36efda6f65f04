#include "util/checked_lock.hpp"

#include "util/thread_id.hpp"
#include "util/waiting.hpp"

namespace foundation::core::util {

namespace {

constexpr std::uint64_t look_every = 1000;  // In milliseconds.
constexpr int looks_until_stopped = 10;     // In a row.
constexpr unsigned turns_to_give_way = short_turns + 2;

}  // namespace

/// What a waiting thread sees of the holders.
class checked_lock::watch {
 public:
  watch(checked_lock& lock, const void* reported) noexcept : lock_(lock), reported_(reported) {}

  /// Whether the holder is to be given up now.
  bool gives_up() noexcept {
    const std::uint64_t now = milliseconds_passed();
    if (const std::uint64_t tenure = lock_.tenure_; tenure != tenure_) {
      tenure_ = tenure;
      begin_ = last_look_ = now;
      stopped_ = 0;
    }
    if (lock_.given_up_ == tenure_ || now - begin_ >= static_cast<std::uint64_t>(lock_.limit_.count())) {
      return true;
    }
    // One at a time: looking stops the holder for a moment.
    if (now - last_look_ < look_every || lock_.looked_at_.exchange(true)) {
      return false;
    }
    last_look_ = now;
    stopped_ = holder_seems_stopped() ? stopped_ + 1 : 0;
    lock_.looked_at_ = false;
    return stopped_ >= looks_until_stopped;
  }
  std::uint64_t tenure() const noexcept { return tenure_; }

 private:
  bool holder_seems_stopped() const noexcept {
    return is_stopped(lock_.owner_) || (reported_ != nullptr && on_same_stack(reported_, lock_.owner_stack_));
  }

  checked_lock& lock_;
  const void* reported_;
  std::uint64_t tenure_ = 0;     ///< the one that the rest is about; 0 before the first
  std::uint64_t begin_ = 0;      ///< when it was first seen, in milliseconds, as the next
  std::uint64_t last_look_ = 0;  ///< at the holder itself
  int stopped_ = 0;              ///< how many looks in a row found it so
};

checked_lock::outcome checked_lock::acquire(const void* reported) noexcept {
  ++waiting_;
  const outcome result = acquire(false, reported);
  --waiting_;
  return result;
}

checked_lock::outcome checked_lock::acquire_last() noexcept {
  return acquire(true, nullptr);
}

checked_lock::outcome checked_lock::acquire(bool last, const void* reported) noexcept {
  const unsigned long self = current_thread_id();
  if (owner_ == self) {
    return outcome::interrupted;
  }
  watch holder(*this, reported);
  for (unsigned turn = 0; (last && waiting_ != 0) || gives_way(self, turn) || held_.exchange(true); ++turn) {
    if (holder.gives_up()) {
      if (owner_ != nobody) {  // Otherwise those stand still that were to go first.
        given_up_ = holder.tenure();
      }
      return outcome::given_up;
    }
    wait_turn(turn);
  }
  ++tenure_;
  owner_stack_ = __builtin_frame_address(0);
  owner_ = former_ = self;
  return outcome::acquired;
}

/// A thread that acquires the lock time after time would leave the others no turn: they sleep between two looks.
bool checked_lock::gives_way(unsigned long self, unsigned turn) const noexcept {
  return former_ == self && waiting_ > 1 && turn < turns_to_give_way;
}

void checked_lock::unlock() noexcept {
  owner_ = nobody;
  held_ = false;
}

}  // namespace foundation::core::util

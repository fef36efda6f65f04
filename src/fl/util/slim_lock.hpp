// A reader/writer lock that needs no construction: it is usable from the moment the library is loaded, allocates
// nothing and cannot fail. Not recursive. Meets Lockable's and SharedLockable's lock and unlock, for std::lock_guard
// and std::shared_lock.
#pragma once

namespace foundation::core::util {

class slim_lock {
 public:
  constexpr slim_lock() noexcept = default;
  slim_lock(const slim_lock&) = delete;
  slim_lock& operator=(const slim_lock&) = delete;

  void lock() noexcept;
  void unlock() noexcept;
  void lock_shared() noexcept;
  void unlock_shared() noexcept;

 private:
  void* state_ = nullptr;  ///< the system's lock; null when nobody holds it
};

}  // namespace foundation::core::util

// A slim lock held for a scope. Taking and giving it back allocates nothing and throws nothing.
#pragma once

#include <windows.h>

namespace foundation::kit {

class exclusive_lock {
 public:
  explicit exclusive_lock(SRWLOCK& lock) noexcept : lock_(lock) { ::AcquireSRWLockExclusive(&lock_); }
  exclusive_lock(const exclusive_lock&) = delete;
  exclusive_lock& operator=(const exclusive_lock&) = delete;
  ~exclusive_lock() { ::ReleaseSRWLockExclusive(&lock_); }

 private:
  SRWLOCK& lock_;
};

}  // namespace foundation::kit

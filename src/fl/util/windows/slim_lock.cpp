#include "util/slim_lock.hpp"

#include <windows.h>

namespace foundation::core::util {

namespace {

static_assert(sizeof(SRWLOCK) == sizeof(void*));

SRWLOCK* native(void** state) noexcept {
  return reinterpret_cast<SRWLOCK*>(state);
}

}  // namespace

void slim_lock::lock() noexcept {
  AcquireSRWLockExclusive(native(&state_));
}

void slim_lock::unlock() noexcept {
  ReleaseSRWLockExclusive(native(&state_));
}

void slim_lock::lock_shared() noexcept {
  AcquireSRWLockShared(native(&state_));
}

void slim_lock::unlock_shared() noexcept {
  ReleaseSRWLockShared(native(&state_));
}

}  // namespace foundation::core::util

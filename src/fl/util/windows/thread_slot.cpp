#include "util/thread_slot.hpp"

#include <windows.h>

#include <new>

namespace foundation::core::util {

thread_slot::thread_slot() noexcept : index_(TlsAlloc()) {}

void* thread_slot::get() const noexcept {
  return index_ != TLS_OUT_OF_INDEXES ? TlsGetValue(index_) : nullptr;
}

void thread_slot::set(void* value) {
  if (index_ == TLS_OUT_OF_INDEXES || !TlsSetValue(index_, value)) {
    throw std::bad_alloc();
  }
}

}  // namespace foundation::core::util

#include "util/thread_flag.hpp"

#include <windows.h>

#include <new>

namespace foundation::core::util {

thread_flag::thread_flag() noexcept : index_(TlsAlloc()) {}

bool thread_flag::get() const noexcept {
  return index_ != TLS_OUT_OF_INDEXES && TlsGetValue(index_) != nullptr;
}

void thread_flag::set(bool value) {
  if (index_ == TLS_OUT_OF_INDEXES || !TlsSetValue(index_, value ? this : nullptr))
    throw std::bad_alloc();
}

}  // namespace foundation::core::util

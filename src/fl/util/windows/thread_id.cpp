#include "util/thread_id.hpp"

#include <windows.h>

unsigned long foundation::core::util::current_thread_id() noexcept {
  return GetCurrentThreadId();
}

#include "util/thread_id.hpp"

#include "common/windows/handle_closer.hpp"

#include <windows.h>

namespace foundation::core::util {

namespace {

/// The start of the memory that the system reserved in one piece, as it does for a stack; null for no address.
const void* reserved_with(const void* address) noexcept {
  MEMORY_BASIC_INFORMATION region;
  return VirtualQuery(address, &region, sizeof region) != 0 ? region.AllocationBase : nullptr;
}

}  // namespace

unsigned long current_thread_id() noexcept {
  return GetCurrentThreadId();
}

bool is_stopped(unsigned long thread) noexcept {
  HANDLE handle = OpenThread(SYNCHRONIZE | THREAD_SUSPEND_RESUME, FALSE, thread);
  if (handle == nullptr) {
    return GetLastError() == ERROR_INVALID_PARAMETER;
  }
  const sysdep::windows::HandleCloser<HANDLE> closing(handle);
  const bool ended = WaitForSingleObject(handle, 0) == WAIT_OBJECT_0;
  // The system shows how often a thread is suspended only to who suspends it once more. Between the two calls there is
  // nothing that could need what the thread holds.
  constexpr DWORD failed = static_cast<DWORD>(-1);
  const DWORD before = SuspendThread(handle);
  if (before != failed) {
    ResumeThread(handle);
  }
  return ended || (before != failed && before > 0);
}

bool on_same_stack(const void* a, const void* b) noexcept {
  const void* const stack = reserved_with(a);
  return stack != nullptr && stack == reserved_with(b);
}

}  // namespace foundation::core::util

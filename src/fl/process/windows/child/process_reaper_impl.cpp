#include "process/child/process_reaper_impl.hpp"

#include "process/windows/last_error.hpp"
#include "util/keep_loaded.hpp"

#include <windows.h>

namespace foundation::core::sysdep::windows {

void prepare_callbacks() noexcept {
  util::keep_library_loaded();
}

void* register_wait(void* process, end_callback callback, void* context) {
  HANDLE wait = nullptr;
  if (!::RegisterWaitForSingleObject(&wait, process, callback, context, INFINITE, WT_EXECUTEONLYONCE)) {
    throw_last_error(::GetLastError(), "RegisterWaitForSingleObject");
  }
  return wait;
}

void unregister_wait(void* wait) noexcept {
  ::UnregisterWaitEx(wait, INVALID_HANDLE_VALUE);
}

void unregister_wait_in_callback(void* wait) noexcept {
  ::UnregisterWaitEx(wait, nullptr);
}

void close_process_handle(void* process) noexcept {
  ::CloseHandle(process);
}

}  // namespace foundation::core::sysdep::windows

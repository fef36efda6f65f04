#include <fl/sysdep/windows/process_impl.hpp>

#include "process/child/exit_code.hpp"
#include "process/windows/child/working_set.hpp"
#include "process/windows/last_error.hpp"

#include <windows.h>

#include <stdexcept>

namespace foundation::core::sysdep::windows {

using process::exit_status_variant;

process_impl::process_impl(const PROCESS_INFORMATION* info)
    : hProcess(info->hProcess), hThread(info->hThread), dwProcessId(info->dwProcessId), dwThreadId(info->dwThreadId) {}

process_impl::~process_impl() {
  const DWORD last_error = ::GetLastError();
  if (hProcess) {
    ::CloseHandle(hProcess);
  }
  if (hThread) {
    ::CloseHandle(hThread);
  }
  ::SetLastError(last_error);
}

namespace {

// Returns when the exit code can be read: the process has ended, or a poll found it running.
void wait_for_process(HANDLE handle, bool block) {
  switch (::WaitForSingleObject(handle, block ? INFINITE : 0)) {
    case WAIT_OBJECT_0:
      return;
    case WAIT_TIMEOUT:
      if (block) {
        throw std::runtime_error("WaitForSingleObject returned an unexpected value: WAIT_TIMEOUT");
      }
      return;
    case WAIT_ABANDONED:
      throw std::runtime_error("WaitForSingleObject returned an unexpected value: WAIT_ABANDONED");
    case WAIT_FAILED:
      throw_last_error(::GetLastError(), "WaitForSingleObject");
    default:
      throw std::runtime_error("WaitForSingleObject returned an unrecognized value");
  }
}

}  // namespace

exit_status_variant process_impl::wait(void* handle, bool block) {
  wait_for_process(handle, block);
  return read_exit_status(handle);
}

exit_status_variant process_impl::wait(bool block) {
  return wait(hProcess, block);
}

bool process_impl::has_ended() const noexcept {
  return ::WaitForSingleObject(hProcess, 0) == WAIT_OBJECT_0;
}

void* process_impl::get_native_handle() const {
  HANDLE duplicate = nullptr;
  if (!::DuplicateHandle(::GetCurrentProcess(), hProcess, ::GetCurrentProcess(), &duplicate, 0, FALSE,
                         DUPLICATE_SAME_ACCESS)) {
    throw_last_error(::GetLastError(), "Failed to duplicate process handle");
  }
  return duplicate;
}

long long process_impl::get_pid() const {
  return static_cast<long long>(dwProcessId);
}

void process_impl::kill() const {
  if (!::TerminateProcess(hProcess, 1)) {
    throw_last_error(::GetLastError(), "TerminateProcess");
  }
}

void process_impl::terminate() const {
  kill();
}

unsigned long long process_impl::working_set_size() {
  return compute_working_set_size(dwProcessId);
}

}  // namespace foundation::core::sysdep::windows

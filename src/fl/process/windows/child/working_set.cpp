#include "process/windows/child/working_set.hpp"

#include "common/windows/handle_closer.hpp"
#include "common/windows/system_error.hpp"

#include <windows.h>
#include <psapi.h>

namespace foundation::core::sysdep::windows {

unsigned long long compute_working_set_size(unsigned long pid) {
  HANDLE process = ::OpenProcess(PROCESS_ALL_ACCESS, FALSE, pid);
  const DWORD open_error = ::GetLastError();
  if (!process) {
    throw_system_error(open_error, BOOST_CURRENT_LOCATION);
  }
  const HandleCloser<HANDLE> closer(process);
  PROCESS_MEMORY_COUNTERS counters = {};
  if (!::K32GetProcessMemoryInfo(process, &counters, sizeof counters)) {
    throw_system_error(::GetLastError(), BOOST_CURRENT_LOCATION);
  }
  return counters.WorkingSetSize;
}

}  // namespace foundation::core::sysdep::windows

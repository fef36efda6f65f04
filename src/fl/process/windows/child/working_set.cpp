#include "process/windows/child/working_set.hpp"

#include "process/windows/handle_closer.hpp"

#include <boost/system/system_error.hpp>
#include <boost/throw_exception.hpp>

#include <windows.h>
#include <psapi.h>

namespace foundation::core::sysdep::windows {

namespace {

[[noreturn]] void throw_system_error(DWORD code, const boost::source_location& location) {
  boost::throw_exception(boost::system::system_error(static_cast<int>(code), boost::system::system_category()),
                         location);
}

}  // namespace

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

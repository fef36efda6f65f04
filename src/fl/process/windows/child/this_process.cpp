// What a process can be asked about itself, and the working set, which a child is asked for as well.

#include <fl/process/this_process.hpp>
#include <i18n/filesystem.hpp>

#include "common/windows/handle_closer.hpp"
#include "process/windows/child/working_set.hpp"

#include <boost/system/system_error.hpp>
#include <boost/throw_exception.hpp>

#include <windows.h>
#include <psapi.h>

#include <string>
#include <vector>

namespace foundation::core::sysdep::windows {

namespace {

[[noreturn]] void throw_system_error(DWORD code, const boost::source_location& location) {
  boost::throw_exception(boost::system::system_error(static_cast<int>(code), boost::system::system_category()),
                         location);
}

// The last error of a call that cuts off what does not fit, which only the last error tells. One that is left over from
// before must not be taken for the call's own.
DWORD read_module_file_name(std::vector<wchar_t>& buffer) {
  ::SetLastError(ERROR_SUCCESS);
  ::GetModuleFileNameW(nullptr, buffer.data(), static_cast<DWORD>(buffer.size()));
  return ::GetLastError();
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

ustring this_process_absolute_path_impl() {
  constexpr std::size_t usual_units = 4096;
  constexpr std::size_t most_units = 8192;
  std::vector<wchar_t> buffer(usual_units);
  DWORD code = read_module_file_name(buffer);
  if (code == ERROR_INSUFFICIENT_BUFFER) {
    buffer.resize(most_units);
    code = read_module_file_name(buffer);
  }
  if (code != ERROR_SUCCESS) {
    throw_system_error(code, BOOST_CURRENT_LOCATION);
  }
  buffer.back() = L'\0';
  return fl::filesystem::codecvt_filesystem_to_ustring(true).convert(std::wstring(buffer.data()));
}

}  // namespace foundation::core::sysdep::windows

namespace foundation::core::process::this_process {

long long id() {
  return static_cast<long long>(::GetCurrentProcessId());
}

unsigned long long working_set_size() {
  return sysdep::windows::compute_working_set_size(::GetCurrentProcessId());
}

ustring absolute_path() {
  return sysdep::windows::this_process_absolute_path_impl();
}

}  // namespace foundation::core::process::this_process

// What a process can ask about itself.

#include <fl/process/this_process.hpp>
#include <i18n/filesystem.hpp>

#include "common/windows/system_error.hpp"
#include "process/windows/child/working_set.hpp"

#include <windows.h>

#include <string>
#include <vector>

namespace foundation::core::sysdep::windows {

namespace {

// The last error of a call that cuts off what does not fit, which only the last error shows. One that is left over from
// before must not pass for the call's own.
DWORD read_module_file_name(std::vector<wchar_t>& buffer) {
  ::SetLastError(ERROR_SUCCESS);
  ::GetModuleFileNameW(nullptr, buffer.data(), static_cast<DWORD>(buffer.size()));
  return ::GetLastError();
}

}  // namespace

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

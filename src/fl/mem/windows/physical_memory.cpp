#include "mem/physical_memory.hpp"

#include <fl/except/anonymous_internal_exception.hpp>

#include <boost/system/system_error.hpp>

#include <windows.h>

namespace foundation::core::mem {

physical_memory get_physical_memory() {
  MEMORYSTATUSEX status = {};
  status.dwLength = sizeof status;
  if (!::GlobalMemoryStatusEx(&status)) {
    const auto code = static_cast<int>(::GetLastError());
    throw except::detail::AnonymousInternalException(boost::system::system_error(
        code, boost::system::system_category(), "foundation::core::mem::windows::get_physical_memory"));
  }
  return {status.ullTotalPhys, status.ullAvailPhys};
}

}  // namespace foundation::core::mem

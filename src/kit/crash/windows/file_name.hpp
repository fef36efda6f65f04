// Names of files as the options give them.
#pragma once

#include <fl/util/ustring.hpp>

#include "common/windows/full_path.hpp"
#include "common/windows/system_error.hpp"

#include <windows.h>

#include <string>

namespace foundation::kit {

/// Behind the current directory, unless it is absolute. Throws boost::system::system_error if it is no name.
inline std::wstring absolute_file_name(const core::ustring& name) {
  std::wstring result;
  if (name.find(u'\0') == name.npos) {
    result = core::sysdep::windows::full_path({name.begin(), name.end()});
  }
  if (result.empty()) {
    core::sysdep::windows::throw_system_error(ERROR_INVALID_NAME, "GetFullPathNameW");
  }
  return result;
}

}  // namespace foundation::kit

// The environment variable with the memory manager's options. Implemented in windows/option_string.cpp.
#pragma once

#include <string>

namespace foundation::core::sysdep::windows {

/// The value of TESSEL_MEM_MGR, empty if it is not set. The first call of the process reads it, puts it into
/// TESSEL_MEM_MGR_VALUE and removes it, so that processes started from then on do not read it as theirs; later calls
/// give the same. Any thread.
const std::string& read_option_string();

}  // namespace foundation::core::sysdep::windows

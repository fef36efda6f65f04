// The system's number of this process.
#pragma once

namespace foundation::core::util {

/// Implemented in windows/process_id.cpp.
int process_id() noexcept;

}  // namespace foundation::core::util

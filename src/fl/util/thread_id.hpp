// The system's number of the calling thread.
#pragma once

namespace foundation::core::util {

/// Never 0. Implemented in windows/thread_id.cpp.
unsigned long current_thread_id() noexcept;

}  // namespace foundation::core::util

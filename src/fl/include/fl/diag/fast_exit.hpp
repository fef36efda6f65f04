// Leaving the process at once.
#pragma once

#include <fl/export.hpp>

namespace foundation::core::app {

/// Ends the process with exit status `code`. Nothing else runs: no exit handler, no static destructor, no flushing of
/// streams, no notification of threads or DLLs. Any thread.
[[noreturn]] FL_API void fast_exit(int code);

}  // namespace foundation::core::app

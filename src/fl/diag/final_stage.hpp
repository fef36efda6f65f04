// The end of the process. Implemented in windows/terminate.cpp, whose name its own failures show.
#pragma once

namespace foundation::core::diag {

/// Shows the message and the function by the run-time's assertion failure, with the location, and aborts. No argument
/// is null.
[[noreturn]] void final_stage(const char* message, const char* file, int line, const char* function) noexcept;

/// Writes of the final stage go to standard error from now on; `abort` writes its message and calls the fault reporter.
void write_failures_to_standard_error() noexcept;

}  // namespace foundation::core::diag

// The text of a termination report: its headings and their order. The lines of the registers are those of
// register_block.hpp, the lines of the stack those of stacktrace_format.hpp.
#pragma once

#include <fl/diag/thread_context.hpp>

#include <ostream>

namespace foundation::core::diag {

/// What happened.
struct report_event {
  bool assertion;       ///< `terminate` was called; otherwise a fault handler reports.
  const char* message;  ///< Not null.
  const char* file;     ///< Null or empty: not known, as `function`.
  int line;             ///< From 1; of no meaning without a file.
  const char* function;
  const void* first_frame = nullptr;  ///< Where the stack begins, if it is among the frames; null: with all of them.
};

/// Appends a report on the calling thread: event, thread, registers and stack. An empty context stands for the thread's
/// present state. Writes nothing to a stream that has failed. Never throws: an exception on the way is shown in the
/// report. Allocates nothing.
void write_report(std::ostream& os, const report_event& event, const thread_context& context) noexcept;

}  // namespace foundation::core::diag

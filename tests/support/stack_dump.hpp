// Prints the stacks of this process's threads on standard error, with the names of functions, for reports of crashes
// and hangs. Everything goes straight to the handle, so that nothing is lost when the process ends right after.
//
// Thread safety: none. The caller sees to it that one thread reports at a time (`begin_report`).
#pragma once

#include <windows.h>

namespace test_support {

/// Writes a formatted text of up to 1023 bytes to standard error.
[[gnu::format(gnu_printf, 1, 2)]] void report(const char* format, ...);

/// Takes the turn to report for this thread, for good: the process must end behind it. A second thread that asks waits
/// for ever; the same thread asking again, because the report itself failed, ends the process with `exit_code` at once,
/// as does a report that takes longer than half a minute: a lock held at the time of the fault may block it.
void begin_report(unsigned exit_code);

/// Prints the stack that `context`, of this thread or a suspended one, is in.
void dump_stack(const CONTEXT& context);

/// Prints the stacks of all threads but this one; each is suspended while its addresses are gathered, but not while
/// they are turned into names.
void dump_other_threads();

}  // namespace test_support

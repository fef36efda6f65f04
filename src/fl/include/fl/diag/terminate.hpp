// Ending the process on a fatal error, with a report of registers and stack.
//
//     if (header->check != expected)
//       foundation::core::diag::terminate("the block's header is overwritten", __FILE__, __LINE__,
//       __PRETTY_FUNCTION__);
//
// `terminate` hands the message to the observer (termination_observer.hpp), which by default writes a report into a
// fixed log of 65,536 bytes, and ends the process through the run-time's assertion failure, which shows the message in
// a dialog or writes it to standard error. A program that wants the report itself shown reads it with `terminate_log()`
// in a handler for SIGABRT.
//
// A handler for faults gets a report without ending the process (examples/crash_report is a whole program):
//
//     LONG WINAPI on_fault(EXCEPTION_POINTERS* fault) {
//       std::fputs(foundation::core::diag::terminate_log("access violation", fault), stderr);
//       foundation::core::app::fast_exit(3);
//     }
//     SetUnhandledExceptionFilter(on_fault);
//
// Everything here works in a damaged process: the log is static, a message is built on the stack of the caller, which
// needs 70 KB of it for `terminate`, and nothing is allocated between the call and the end of the process. The system's
// symbol service, which reports ask for names, wants stack of its own: report a stack overflow from another thread,
// which needs no more than the fault's context, and let threads reserve some stack for the handler
// (SetThreadStackGuarantee).
//
// QX_DISABLE_TERMINATE_DIALOG, set to anything but "0", switches the dialog off; so does QX_CRASH_MODE, unless it is
// "default" or "continue", if the first is not set. Both are read once, at the first use of anything here.
//
// Thread safety: any thread, at any time, also while another one is terminating: reports do not mix, and a thread that
// ends the process lets those go first that wait to write theirs. However slow a report is, the others wait for its
// end. A thread that is stopped in the middle of one, suspended or by a fault that another thread reports, is waited
// for ten seconds; then a report cannot be had any more, and what reads the log gets it as it is. Names of functions
// come from a service that is one for the whole process: if a thread does not leave it for 20 seconds, stacks have
// numbers only. The service waits without limit for the system's own locks of the process heap and of the environment:
// a thread that was suspended within one of these holds up the report. The first use of anything here takes the
// run-time's lock of locales: a program that calls `terminate_called()` early, or installs the kit's crash handler, has
// that behind it when it matters.
#pragma once

#include <fl/diag/thread_context.hpp>
#include <fl/diag/unknown_exception_name.hpp>
#include <fl/export.hpp>
#include <fl/util/ustring.hpp>

#include <boost/format/format_fwd.hpp>

#include <iosfwd>
#include <string>

namespace foundation::core::diag {

/// Reports a fatal error and ends the process. `file` and `function` may be null or empty; `line` counts from 1.
///
/// The message may be a null pointer (then it is empty), has no more than 65,536 bytes (the rest is lost) and is shown
/// as it stands, except UTF-16 text, of which every unit above 127 becomes "\u" and four hexadecimal digits and which
/// is cut at 511 bytes.
///
/// Returns never. Throws only in a thread that has a `test::terminate_handler`, and `boost::io::too_few_args` if the
/// format lacks arguments. The compiler knows that: if a destructor always ends here, GCC leaves away the handlers that
/// an exception would reach through it, and throwing that one ends the process without a report.
[[noreturn]] FL_API void terminate(const char* message, const char* file, int line, const char* function);
[[noreturn]] FL_API void terminate(const std::string& message, const char* file, int line, const char* function);
[[noreturn]] FL_API void terminate(const boost::basic_format<char>& message, const char* file, int line,
                                   const char* function);
[[noreturn]] FL_API void terminate(const std::ostringstream& message, const char* file, int line, const char* function);
[[noreturn]] FL_API void terminate(const std::stringstream& message, const char* file, int line, const char* function);
[[noreturn]] FL_API void terminate(const ustring& message, const char* file, int line, const char* function);
[[noreturn]] FL_API void terminate(const char16_t* message, const char* file, int line, const char* function);

/// Appends a report to the log without ending the process, and returns the log: zero-terminated text that the library
/// owns, which lives as long as the process and grows with further reports until it is full. `message` may be null. An
/// empty context stands for the calling thread's present state. Ends the process if there can be no report, because a
/// thread was stopped in the middle of one, this one or another.
FL_API const char* terminate_log(const char* message, const thread_context& context) noexcept;
/// The same for a fault as the system hands it to a handler; null stands for the calling thread's present state.
FL_API const char* terminate_log(const char* message, const _EXCEPTION_POINTERS* fault) noexcept;
/// The log, with the reports that other threads have begun or wait to write. Ends the process if the calling thread was
/// interrupted in the middle of a report; so does the next.
FL_API const char* terminate_log() noexcept;

/// Whether a call of `terminate` has been reported in the log.
FL_API bool terminate_called() noexcept;

/// From now on a fatal error is written to standard error instead of being shown in a dialog.
FL_API void disable_terminate_dialog() noexcept;

}  // namespace foundation::core::diag

/// The gate of assertions: a failed one ends the process only if this returns true, which it always does. It ends
/// nothing itself.
extern "C" FL_API bool fl_diag_terminate();

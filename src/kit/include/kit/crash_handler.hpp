// A program that reports how it died: one call, and whatever ends the process by mistake leaves a report with registers
// and stack, and a dump where one is wanted.
//
//   int main() {
//     kit::crash_handler_options options;
//     options.report_file = u"planner-crash.txt";
//     options.dump.file = u"planner-crash.dmp";
//     const kit::crash_handler handler = kit::install_crash_handler(options);
//     …
//   }
//
// What is reported, on all threads, and what the process then ends with:
//
//   a structured exception that nobody handles       its code, such as 0xC0000005
//   a stack overflow                                 0xC00000FD
//   std::terminate                                   0xC0000409, as with the run-times that fail fast
//   abort                                            3, as always with this run-time
//   foundation::core::diag::terminate                3; the report is the one that it has made itself
//   an invalid parameter that the C run-time finds   0xC0000417, where it tells (that of Wine does not)
//
// A pure virtual call is one of std::terminate, unless the linker has left the run-time's function for it out of the
// program, as it does with the shared C++ run-time: then it is an access violation executing address 0.
//
// The report is that of fl/diag/terminate.hpp, behind a line that says what it was: "access violation (0xC0000005)
// reading address 0x0000000000000010", "std::terminate: std::runtime_error: no such city". The log of reports is
// written whole, so that what was reported before comes along. Targets are written in this order: the file, standard
// error, the dump, a line on the dump, the callback. What fails on the way is left out; the next one gets its turn.
// Threads that crash meanwhile wait for the end of the process, and so does one that destroys the handler. No debugger,
// no dialog of the system and no filter that was there before is asked; under a debugger the system asks no filter.
//
// What does not come here: TerminateProcess, and what the system itself ends at once, such as a fail-fast, a corrupt
// heap that it has noticed, or a stack without any room. A dump of those is a matter of the system's own settings. The
// program's start installs a frame of its own on the main thread, which gives signal handlers for SIGSEGV, SIGFPE and
// SIGILL precedence there, if the program has any.
//
// Nothing is allocated when a process dies, but for what the C++ run-time keeps for a thread in which it meets its
// first exception, or std::terminate without one, and for the text of an exception of <fl/except/iexception.hpp>, or of
// one whose `what()` allocates. A thread waits from the start to report for those that have no stack
// left, and a program of ours, qxcrashdump.exe, to write the dump from outside. It gets the handles that it needs and
// nothing else, and ends with this process.
//
// Stack overflows need some stack that is set aside beforehand, thread by thread. That is done for the thread that
// installs the handler and for each that begins later. Threads that are there already do it for themselves, with
// `reserve_stack_for_crash_report`; a system without this reserve (Wine) reports an overflow only if the compiler's
// probe of a large frame meets it.
//
// Thread safety: everything here may be called by any thread; an object belongs to one thread at a time. Not from
// DllMain.
#pragma once

#include <fl/util/ustring.hpp>

#include <kit/export.hpp>

#include <chrono>
#include <cstddef>
#include <cstdint>
#include <functional>

namespace foundation::kit {

using foundation::core::ustring;

/// What ended the process.
enum class crash_kind : std::uint8_t {
  fault,              ///< a structured exception, a stack overflow included
  terminate,          ///< std::terminate
  abort,              ///< abort, or SIGABRT raised
  fatal_error,        ///< foundation::core::diag::terminate
  invalid_parameter,  ///< to a function of the C run-time
};

/// A crash, as the callback is told of it. The texts are UTF-8, never null, and live as long as the process.
struct crash {
  crash_kind kind;          ///< what ended the process
  std::uint32_t exit_code;  ///< what the process ends with
  std::uint32_t thread_id;  ///< of the thread that has crashed, which need not be the one that calls
  const char* what;         ///< what has happened: a line without its end, or more if an exception's text has more
  const char* report;       ///< whole, or `what` between line ends if none could be made
  const char* notes;        ///< what became of the targets, a line each; empty if there is nothing to say
  bool dump_written;        ///< whether the dump was written
};

/// What goes into a dump besides the threads with their stacks and the list of modules.
enum class dump_content : std::uint8_t {
  stacks,      ///< nothing: small, and enough for the stacks
  data,        ///< the modules' data and what the stacks point at
  all_memory,  ///< everything that the process has in memory, secrets included
};

/// Whether there is to be a dump, and of what.
struct crash_dump_options {
  /// Where a dump goes, absolute or from the current directory at the installation; empty for none. A file that exists
  /// is replaced once the new dump is complete. Until then it is called so with ".part" behind it.
  ustring file;
  dump_content content = dump_content::stacks;  ///< how much of the process goes into it
  /// The program that writes it; empty for qxcrashdump.exe beside libqxkit.dll.
  ustring helper;
  /// How long a dying process waits for its dump.
  std::chrono::milliseconds limit = std::chrono::seconds(30);
};

/// Where reports go, and what counts as a crash.
struct crash_handler_options {
  bool standard_error = true;  ///< writes the report there
  /// Where the report goes besides, absolute or from the current directory at the installation; empty for nowhere. The
  /// file is made when there is a report, and one that exists is replaced. If it cannot be written, the report goes to
  /// standard error in any case.
  ustring report_file;
  /// Called when all else is done, on the thread that has crashed, or on the one that reports for it; the process ends
  /// when it returns. It finds a damaged process: it should neither allocate nor take a lock. What it throws is dropped
  /// and a crash in it ends the process with the code of the first.
  std::function<void(const crash&)> callback;
  crash_dump_options dump;  ///< the dump, if there is to be one
  /// Whether an invalid parameter, such as a file descriptor that is none, is a crash. Off, the run-time does what it
  /// would do anyway.
  bool invalid_parameters = true;
  /// Bytes of stack to set aside in each thread for the report of an overflow.
  std::size_t stack_reserve = 65536;
};

/// Holds the installation, perhaps with others. Moved from, it holds nothing.
class KIT_API crash_handler {
 public:
  crash_handler(crash_handler&& other) noexcept;
  crash_handler& operator=(crash_handler&& other) noexcept;
  /// As `uninstall`.
  ~crash_handler();

  /// The last holder puts back what was there before, except where somebody else has put something there meanwhile:
  /// that stays. Returns when the thread and the program that were waiting have gone. Does not return if a thread has
  /// crashed. The dialogs of the run-time stay off, and stacks keep their reserve. Nothing happens the second time.
  void uninstall() noexcept;

  /// Whether it was this installation whose options hold, and not an earlier one.
  bool options_are_in_force() const noexcept { return in_force_; }

 private:
  friend KIT_API crash_handler install_crash_handler(const crash_handler_options& options);
  explicit crash_handler(bool in_force) noexcept : in_force_(in_force) {}

  bool installed_ = true;
  bool in_force_;
};

/// Installs the handler, for the whole process; switches the run-time's dialogs off, as
/// `foundation::core::diag::disable_terminate_dialog` does. Returns when the program that writes the dump is ready.
///
/// If one is installed already, that stays as it is, options included, and there is one more holder: the last of them
/// to go uninstalls it. So each component of a program may ask for a handler.
///
/// Throws boost::system::system_error if the system refuses something, or
/// if the program for the dump ends, or is not ready after 30 seconds; and what launching that program throws
/// (fl/process/errors.hpp). Nothing is installed then.
[[nodiscard]] KIT_API crash_handler install_crash_handler(const crash_handler_options& options = {});

/// What has become of a way to a report.
enum class hook_state : std::uint8_t {
  unused,    ///< no handler is installed, or its options leave this out
  active,    ///< a crash of this kind is reported
  replaced,  ///< somebody else has taken the place, and may or may not pass crashes on
};

/// Which of the ways to a report are open.
struct crash_handler_status {
  hook_state faults;              ///< the system's filter of unhandled exceptions
  hook_state terminate;           ///< the handler of std::terminate
  hook_state abort;               ///< that of SIGABRT
  hook_state invalid_parameters;  ///< the run-time's handler; `unused` where it knows none
  hook_state dump;                ///< the program that writes it; `replaced` if it has ended
};

/// Two of the places can only be looked at by putting something else there for a moment, in which a crash is not seen,
/// and what another thread puts there may be lost: for a check now and then, not all the time.
KIT_API crash_handler_status look_at_crash_handler() noexcept;

/// Whether a handler is installed and nothing that its options ask for has been replaced.
KIT_API bool crash_handler_is_active() noexcept;

/// Sets stack of the calling thread aside, for one that was there before the handler. False if no handler is installed
/// or the system refuses.
KIT_API bool reserve_stack_for_crash_report() noexcept;

}  // namespace foundation::kit

// Diagnostic log with named channels.
//
// How to use it. A source unit that logs has one static logger, named after the unit:
//
//     static foundation::log::basic_diagnostic_logger<char> logger("fl::process::which");
//     logger.log(foundation::log::severity::note, "Searching for ", name, " ...");
//
// All parts of a call make one record; they are streamed with `<<`, and only if the record's severity is enabled. While
// it is not, a call costs one load and one test, besides what the arguments themselves cost. Scopes are traced with
// `scope_trace` (scope_trace.hpp). `enabled` is for records that are costly to prepare.
//
// Nothing is logged until somebody asks for it, from outside by the environment variable QX_LOG,
//
//     QX_LOG=fl::process::*=all;*=error:fatal
//
// pairs of a channel pattern and a level, separated by ";", of which the last match counts, or from inside by
// `set_level` (control.hpp) or a logger's own `level`. Patterns are explained in control.hpp, levels in level.hpp. A
// pair that cannot be read is reported once on standard error and left out. Both ways can also give checks a severity:
// a check is a condition that should never fail; it is reported through `check_failed`, independently of the mask, and
// ends the process if the severity of checks is `severity::fatal`. By default checks are not reported.
//
// Records go to standard error, or to the end of the file that QX_LOG_FILE names (the path is Unicode and may
// be of any length; the file is made if it is missing). If the file cannot be opened, that is reported once and
// standard error is used. A record is one line of valid UTF-8 and is written by one call, so that records of several
// threads, and of several processes that share a file, do not mix:
//
//     2031-05-17 09:30:01.004211 5120:4784 [fl::process::which] note:   Searching for cl ...
//
// that is local time, process and thread, channel, severity, and the text behind two blanks for each scope. Line ends
// and other control characters in the text are written as "\n", "\r", "\x1b", "\u0085" and so on, and so are bytes that
// are no UTF-8, "\xe9".
//
// The environment is read at the first use of any logger, not when the library is loaded: a new logger's word says "not
// configured yet", so that the first `enabled`, `log` or `level` does it, once for the process.
//
// Thread safety: all members may be called from every thread. A record may be written while static objects are being
// destroyed, as long as its own logger lives. Writing a record keeps `GetLastError` and `errno`.
//
// Records pass through the core of Boost.Log with the attributes "Channel" (`std::string`), "Severity" (`unsigned`),
// "Message", "ThreadID", "TimeStamp" and "ScopeIndent" (`unsigned`), so that a program may add sinks of its own there.
// This header does not include it.
#pragma once

#include <foundation_log/export.hpp>
#include <foundation_log/level.hpp>
#include <foundation_log/termination.hpp>

#include <atomic>
#include <locale>
#include <sstream>
#include <string>
#include <type_traits>

namespace foundation::log {

namespace detail {
class registry;

/// Puts the text of the exception being handled in brackets behind what the record has so far.
FOUNDATION_LOG_API void note_failed_part(std::ostream& text) noexcept;

/// Says in the record that the last part could not be printed, and makes the stream usable again. Throws
/// `std::bad_alloc` if there is no room to say it.
FOUNDATION_LOG_API void note_unprintable_part(std::ostream& text);

template <class Part>
void put_part(std::ostream& text, const Part& part) {
  text << part;
  if (!text) {
    note_unprintable_part(text);
  }
}

/// Streams the parts. One that throws ends the text with a note of it. Without memory for that the stream is left bad:
/// what it holds then is cut somewhere.
template <class... Parts>
void put_parts(std::ostream& text, const Parts&... parts) noexcept {
  try {
    (put_part(text, parts), ...);
  } catch (...) {
    note_failed_part(text);
  }
}

/// How a part goes on to where it is printed: a scalar by its value. A variable of the caller whose address went there
/// would have to lie in memory while nothing is logged, too.
template <class Part>
using passed_on = std::conditional_t<std::is_scalar_v<Part>, std::remove_cv_t<Part>, const Part&>;
}  // namespace detail

class scope_trace;

template <class CharT>
class basic_diagnostic_logger;  // `char` is the only one.

/// One channel of the log. Loggers are usually static; each is known to the functions of control.hpp while it lives.
template <>
class basic_diagnostic_logger<char> {
 public:
  /// Copies the name; null counts as empty. Neither reads the environment nor starts a thread. Throws `std::bad_alloc`.
  FOUNDATION_LOG_API explicit basic_diagnostic_logger(const char* channel);
  FOUNDATION_LOG_API ~basic_diagnostic_logger();
  basic_diagnostic_logger(const basic_diagnostic_logger&) = delete;
  basic_diagnostic_logger& operator=(const basic_diagnostic_logger&) = delete;

  /// Whether a record of this severity would be written: the mask has it, and logging is switched off neither here nor
  /// in the core of Boost.Log.
  bool enabled(unsigned severity) const noexcept {
    const unsigned word = effective_.load(std::memory_order_relaxed);
    return (word & ((severity & severity_mask) | not_configured)) != 0 && enabled_now(severity);
  }

  /// The level word, whether logging is switched on or not.
  FOUNDATION_LOG_API unsigned level() const noexcept;

  /// Sets the level word of this logger only. Bits outside `level_word_mask` are dropped.
  FOUNDATION_LOG_API void level(unsigned word) noexcept;

  /// The name of the channel.
  const std::string& channel() const noexcept { return channel_; }

  /// Writes one record made of all parts, if the severity is enabled. Never throws: if printing a part throws, the
  /// record says so behind the parts before it; if there is no memory, there is no record.
  template <class... Parts>
  void log(unsigned severity, const Parts&... parts) const noexcept {
    if (enabled(severity)) {
      write_parts<detail::passed_on<Parts>...>(severity, parts...);
    }
  }

  /// Reports a failed check, if the level word has a severity for checks: writes a record of that severity, whatever
  /// the mask says, with the parts and then "\n( Event generated in " function " at line " line " from " file " )". If
  /// the severity is `severity::fatal`, then calls `detail::terminate` with the parts, or with "Expression information
  /// is not available." if no record could be written, as without memory, and does not return. `file` and `function`
  /// may be null. Throws only what a termination handler throws.
  template <class... Parts>
  void check_failed(const char* file, int line, const char* function, const Parts&... parts) const {
    const unsigned check = level() >> check_shift;
    if (check == 0) {
      return;
    }
    std::ostringstream text;
    text.imbue(std::locale::classic());
    if (recording()) {
      detail::put_parts(text, parts...);
    }
    report_check(check, text, file, line, function);
  }

 private:
  friend class detail::registry;
  friend class scope_trace;

  /// In `effective_`: the level has not been read from the environment yet. No level word has this bit.
  static constexpr unsigned not_configured = 1u << 31;

  // Cold, so that the code of a record that is off runs straight on.
  template <class... Parts>
  [[gnu::cold, gnu::noinline]] void write_parts(unsigned severity, Parts... parts) const noexcept {
    try {
      std::ostringstream text;
      text.imbue(std::locale::classic());
      detail::put_parts(text, parts...);
      write(severity, text);
    } catch (...) {
      // Without memory there is no record.
    }
  }

  [[gnu::cold]] FOUNDATION_LOG_API bool enabled_now(unsigned severity) const noexcept;
  FOUNDATION_LOG_API static bool recording() noexcept;
  FOUNDATION_LOG_API bool write(unsigned severity, const std::ostringstream& text) const noexcept;
  FOUNDATION_LOG_API void report_check(unsigned check, const std::ostringstream& text, const char* file, int line,
                                       const char* function) const;

  std::atomic<unsigned> effective_;  ///< The mask, or 0 while logging is off, or `not_configured`.
  std::atomic<unsigned> word_;       ///< The level word.
  std::string channel_;
};

}  // namespace foundation::log

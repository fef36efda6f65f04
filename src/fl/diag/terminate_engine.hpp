// The engine behind `terminate` and its relatives: one object, built at first use, never destroyed. Implemented in
// terminate.cpp, whose name its own failures show.
#pragma once

#include <fl/diag/termination_observer.hpp>
#include <fl/diag/thread_context.hpp>

#include "diag/report/report.hpp"
#include "diag/text_buffer.hpp"
#include "util/checked_lock.hpp"
#include "util/thread_flag.hpp"

#include <atomic>
#include <string>

namespace foundation::core::diag {

class terminate_impl {
 public:
  using observer_type = termination_observer::function_type;

  /// What a termination throws in a thread that tests for it. Derived from nothing, so that no handler for exceptions
  /// of the code under test catches it.
  struct terminate_exception {
    std::string message;
  };

  terminate_impl();

  /// Does once what may fault or wait. Who comes meanwhile goes on without it.
  void prepare() noexcept;

  // What reads the log waits for a report that is being written, and for those that wait to be. It uses the log as it
  // is if the thread that writes has stopped; it ends the process only if that is the calling thread itself.

  /// Appends a report to the log and returns the log. Ends the process if it cannot.
  const char* log(const char* message, const thread_context& context) noexcept;
  const char* log(const char* message, const _EXCEPTION_POINTERS* fault) noexcept;
  const char* log() noexcept;

  /// Whether the default observer has written a report.
  bool called() noexcept;

  /// Appends a report to the log. False if the calling thread, or one that has stopped, is in the middle of one.
  bool append(const report_event& event, const thread_context& context) noexcept;

  /// Calls the observer. What it throws is dropped: it does not stop a termination. Returns when other threads have
  /// written the reports that they had come to write meanwhile: the process is about to end.
  void notify(const char* message, const char* file, int line, const char* function) noexcept;

  /// Installs an observer, null for the default one, wipes the log and returns the former observer. A log that is being
  /// written to by this very thread, or by one that has stopped, stays.
  observer_type exchange_observer(observer_type observer) noexcept;

  /// Whether terminations of the calling thread are to throw.
  util::thread_flag& test_mode() noexcept { return test_mode_; }

 private:
  static void default_observer(const char* message, const char* file, int line, const char* function) noexcept;
  /// False: the calling thread is in the middle of a report.
  bool wait_for_reports() noexcept;

  /// Guards the next two. However slow a report is, the next one waits for its end: the limit is none that a report
  /// comes near to, but for a thread that is stuck in some other way than the lock can see.
  util::checked_lock lock_{std::chrono::hours(1)};
  text_buffer log_buffer_;
  std::atomic<bool> was_called_{false};
  std::atomic<bool> prepared_{false};
  std::atomic<observer_type> observer_;  ///< Never null.
  util::thread_flag test_mode_;
};

/// The engine. Ends the process if it cannot be built.
terminate_impl& term() noexcept;

}  // namespace foundation::core::diag

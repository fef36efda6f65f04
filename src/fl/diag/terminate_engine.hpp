// The engine behind `terminate` and its relatives: one object, built at first use, never destroyed.
#pragma once

#include <fl/diag/termination_observer.hpp>
#include <fl/diag/thread_context.hpp>

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
  /// of the code under test takes it.
  struct terminate_exception {
    std::string message;
  };

  terminate_impl();

  /// Appends a report to the log and returns the log.
  const char* log(const char* message, const thread_context& context) noexcept;
  const char* log(const char* message, const _EXCEPTION_POINTERS* fault) noexcept;
  const char* log() noexcept;

  /// Whether the default observer has written a report.
  bool called() noexcept;

  /// Calls the observer. What it throws is dropped: it does not stop a termination.
  void notify(const char* message, const char* file, int line, const char* function) noexcept;

  /// Installs an observer, null for the default one, wipes the log and returns the former observer.
  observer_type exchange_observer(observer_type observer);

  /// Whether terminations of the calling thread are to throw.
  util::thread_flag& test_mode() noexcept { return test_mode_; }

 private:
  static void default_observer(const char* message, const char* file, int line, const char* function);

  /// Guards the next two. A thread that a fault has stopped within a report keeps it; the others wait this long for it,
  /// and then end the process without.
  util::checked_lock lock_{std::chrono::minutes(1)};
  text_buffer log_buffer_;
  bool was_called_ = false;
  std::atomic<observer_type> observer_;  ///< Never null.
  util::thread_flag test_mode_;
};

/// The engine. Ends the process if it cannot be built.
terminate_impl& term() noexcept;

}  // namespace foundation::core::diag

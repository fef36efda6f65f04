// Ends a program that hangs, with the stacks of all its threads on standard error.
#pragma once

#include <windows.h>

#include <mutex>
#include <string>
#include <thread>

namespace test_support {

/// How a program ends that the watchdog stopped.
inline constexpr unsigned hang_exit_code = 98;

/// A thread that waits to be told of progress. Lives until the process ends, so that hanging at exit is noticed as
/// well; hence it is made by `start` and never destroyed. `watch` may be called from any thread.
class watchdog {
 public:
  /// `limit_s`: seconds without a call of `watch` after which the process is ended; not 0.
  static watchdog& start(unsigned limit_s);
  watchdog(const watchdog&) = delete;
  watchdog& operator=(const watchdog&) = delete;

  /// Starts the time anew. `activity` says what runs from now on, for the report.
  void watch(const std::string& activity);

 private:
  explicit watchdog(unsigned limit_s);
  ~watchdog() = default;
  [[noreturn]] void run();
  [[noreturn]] void end_process();

  unsigned limit_s_;
  HANDLE progress_;  ///< an event, set by each call of `watch`
  std::mutex mutex_;
  std::string activity_;  ///< guarded by mutex_
};

}  // namespace test_support

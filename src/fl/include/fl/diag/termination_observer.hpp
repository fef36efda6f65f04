// A scoped replacement of what happens when the process is about to end on a fatal error. One that adds to the default:
//
//     void save_first(const char* message, const char* file, int line, const char* function) {
//       save_documents();
//       default_termination_observer(message, file, line, function);  // The report, for terminate_log().
//     }
//     const termination_observer saving(save_first);
#pragma once

#include <fl/export.hpp>

namespace foundation::core::diag {

/// Replaces the observer of `terminate` for as long as the object lives, in all threads. Installing and removing one
/// wipes the report log, unless this very thread, or one that has stopped, is in the middle of a report. Objects are to
/// be destroyed in the reverse order of their construction. Nothing here fails.
class FL_API termination_observer {
 public:
  /// Gets the message and the location as they were given to `terminate`: `file` and `function` may be null. Runs on
  /// the thread that terminates. The process ends when it returns, or when it throws.
  using function_type = void (*)(const char* message, const char* file, int line, const char* function);

  /// Null stands for the default observer, which writes a report into the log.
  explicit termination_observer(function_type observer) noexcept;
  termination_observer(const termination_observer&) = delete;
  termination_observer& operator=(const termination_observer&) = delete;
  /// Puts the former observer back.
  ~termination_observer();

 private:
  function_type previous_;  ///< The observer that this one replaced.
};

/// What the default observer does, for another one to call: appends a report on the calling thread to the log,
/// whereupon `terminate_called()` is true. The stack begins with the caller. All pointers may be null. Any thread;
/// allocates nothing. Waits for reports of other threads, however slow; there is no report if this very thread, or one
/// that has stopped, is in the middle of one.
FL_API void default_termination_observer(const char* message, const char* file, int line,
                                         const char* function) noexcept;

}  // namespace foundation::core::diag

// A scoped replacement of what happens when the process is about to end on a fatal error.
#pragma once

#include <fl/export.hpp>

namespace foundation::core::diag {

/// Replaces the observer of `terminate` for as long as the object lives, in all threads. Installing and removing one
/// wipes the report log. Objects are to be destroyed in the reverse order of their construction.
class FL_API termination_observer {
 public:
  /// Gets the message and the location as they were given to `terminate`: `file` and `function` may be null. Runs on
  /// the thread that terminates. The process ends when it returns, or when it throws.
  using function_type = void (*)(const char* message, const char* file, int line, const char* function);

  /// Null stands for the default observer, which writes a report into the log.
  explicit termination_observer(function_type observer);
  termination_observer(const termination_observer&) = delete;
  termination_observer& operator=(const termination_observer&) = delete;
  /// Puts the former observer back.
  ~termination_observer();

 private:
  function_type previous_;  ///< The observer that this one replaced.
};

}  // namespace foundation::core::diag

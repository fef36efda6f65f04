// The fatal path of the log.
//
// Thread safety: all of it may be called from every thread.
// Not here: any report about the process. Whoever wants one registers a handler that writes it.
#pragma once

#include <foundation_log/exception_chain.hpp>
#include <foundation_log/export.hpp>
#include <foundation_log/indent_attribute.hpp>

#include <sstream>

namespace foundation::log::detail {

/// Names the target of the log's fatal path for as long as the object lives. The newest living object counts; objects
/// may be destroyed in any order.
class FOUNDATION_LOG_API termination_handler {
 public:
  /// Gets the text, and the source position as it was given to `terminate`. Should not return; may throw, which leaves
  /// `terminate` by that exception.
  using function_type = void (*)(const std::ostringstream& text, const char* file, int line, const char* function);

  /// `function` is not null. Throws `std::bad_alloc`.
  explicit termination_handler(function_type function);
  ~termination_handler();
  termination_handler(const termination_handler&) = delete;
  termination_handler& operator=(const termination_handler&) = delete;

 private:
  function_type function_;
  termination_handler* older_;  ///< The next older living object, or null.
};

/// Ends the process because of a failed check. Calls the registered handler; if there is none, or it returns, writes
/// the text to the standard error stream and aborts. `file` and `function` may be null.
[[noreturn]] FOUNDATION_LOG_API void terminate(const std::ostringstream& text, const char* file, int line,
                                               const char* function);

}  // namespace foundation::log::detail

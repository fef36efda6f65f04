// The fatal path of the log, the indent of scope traces and the text of the exception in flight.
//
// Thread safety: all of it may be called from every thread; the indent belongs to the calling thread.
// Not here: any report about the process. Whoever wants one registers a handler that writes it.
#pragma once

#include <foundation_log/export.hpp>

#include <sstream>
#include <string>

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

/// How deep the calling thread stands in active scope traces. Records are indented by two blanks a level.
struct indent_attribute {
  FOUNDATION_LOG_API static void increase() noexcept;
  /// Does nothing at depth 0.
  FOUNDATION_LOG_API static void decrease() noexcept;
  FOUNDATION_LOG_API static unsigned current() noexcept;
};

/// The exception being handled in this thread, then the exceptions nested in it (`std::nested_exception`), one line
/// each, with no line end behind the last. A line is the type's readable name, ": " and `what()`, or for an exception
/// with `boost::exception` its diagnostic information with the line ends replaced by "; ". Empty if no exception is
/// being handled. Never throws; without memory it returns "(no memory)".
FOUNDATION_LOG_API std::string current_exception_chain_as_string() noexcept;

}  // namespace foundation::log::detail

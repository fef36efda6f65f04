// The text of the exception in flight. Thread safety: any thread.
#pragma once

#include <foundation_log/export.hpp>

#include <string>

namespace foundation::log::detail {

/// The exception being handled in this thread, then the exceptions nested in it (`std::nested_exception`), one line
/// each, with no line end behind the last. A line is the type's readable name, ": " and `what()`, or for an exception
/// with `boost::exception` its diagnostic information with the line ends replaced by "; ". Empty if no exception is
/// being handled. Never throws; without memory it returns "(no memory)".
FOUNDATION_LOG_API std::string current_exception_chain_as_string() noexcept;

}  // namespace foundation::log::detail

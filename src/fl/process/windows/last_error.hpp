// How the process code raises a refusal of the system that its log shows. One of which the caller may be the cause is
// raised without a record, by common/windows/system_error.hpp.
#pragma once

#include <boost/assert/source_location.hpp>

namespace foundation::core::sysdep::windows {

/// Throws boost::system::system_error with `code` in the system category and `text`, the name of the call, after
/// writing it to the log; it carries the place of the call. Read the last error into a variable at once after the call
/// that failed.
[[noreturn]] void throw_last_error(unsigned long code, const char* text,
                                   const boost::source_location& location = BOOST_CURRENT_LOCATION);

}  // namespace foundation::core::sysdep::windows

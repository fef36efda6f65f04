// How a refusal of the system becomes an exception.
#pragma once

#include <boost/system/system_error.hpp>
#include <boost/throw_exception.hpp>

namespace foundation::core::sysdep::windows {

/// Throws boost::system::system_error with `code` in the system category and `text`, the name of the call, which may be
/// empty; it carries `location`. Read the last error into a variable at once after the call that failed.
[[noreturn]] inline void throw_system_error(unsigned long code, const char* text,
                                            const boost::source_location& location) {
  boost::throw_exception(boost::system::system_error(static_cast<int>(code), boost::system::system_category(), text),
                         location);
}

/// The same without a text of its own.
[[noreturn]] inline void throw_system_error(unsigned long code, const boost::source_location& location) {
  boost::throw_exception(boost::system::system_error(static_cast<int>(code), boost::system::system_category()),
                         location);
}

}  // namespace foundation::core::sysdep::windows

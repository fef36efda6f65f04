// How a refusal of the system becomes an exception. Read the last error into a variable, or pass it on, at once after
// the call that failed.
#pragma once

#include <boost/system/system_error.hpp>
#include <boost/throw_exception.hpp>

namespace foundation::core::sysdep::windows {

/// `code` in the system category, with `text`, the name of the call.
inline boost::system::system_error system_failure(unsigned long code, const char* text) {
  return {static_cast<int>(code), boost::system::system_category(), text};
}

/// Throws it.
[[noreturn]] inline void throw_system_error(unsigned long code, const char* text) {
  throw system_failure(code, text);
}

/// Throws it with the place `location`.
[[noreturn]] inline void throw_system_error(unsigned long code, const char* text,
                                            const boost::source_location& location) {
  boost::throw_exception(system_failure(code, text), location);
}

/// The same without the name of a call.
[[noreturn]] inline void throw_system_error(unsigned long code, const boost::source_location& location) {
  boost::throw_exception(boost::system::system_error(static_cast<int>(code), boost::system::system_category()),
                         location);
}

}  // namespace foundation::core::sysdep::windows

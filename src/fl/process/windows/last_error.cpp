#include "process/windows/last_error.hpp"

#include "loggers.hpp"

#include <boost/exception/diagnostic_information.hpp>
#include <boost/system/system_error.hpp>

namespace foundation::core::sysdep::windows {

namespace {

boost::system::system_error system_failure(unsigned long code, const char* text) {
  return {static_cast<int>(code), boost::system::system_category(), text};
}

}  // namespace

void throw_last_error(unsigned long code, const char* text) {
  const boost::system::system_error error = system_failure(code, text);
  if (loggers::process_impl.enabled(log::severity::error)) {
    loggers::process_impl.log(log::severity::error, boost::diagnostic_information(error, true));
  }
  throw error;
}

void throw_unlogged_error(unsigned long code, const char* text) {
  throw system_failure(code, text);
}

}  // namespace foundation::core::sysdep::windows

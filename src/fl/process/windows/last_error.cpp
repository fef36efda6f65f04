#include "process/windows/last_error.hpp"

#include "common/windows/system_error.hpp"
#include "loggers.hpp"

#include <boost/exception/diagnostic_information.hpp>

namespace foundation::core::sysdep::windows {

void throw_last_error(unsigned long code, const char* text) {
  const boost::system::system_error error = system_failure(code, text);
  if (loggers::process_impl.enabled(log::severity::error)) {
    loggers::process_impl.log(log::severity::error, boost::diagnostic_information(error, true));
  }
  throw error;
}

}  // namespace foundation::core::sysdep::windows

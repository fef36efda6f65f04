#include "process/windows/last_error.hpp"

#include "common/windows/system_error.hpp"
#include "loggers.hpp"

#include <boost/exception/diagnostic_information.hpp>

namespace foundation::core::sysdep::windows {

void throw_last_error(unsigned long code, const char* text) {
  if (loggers::process_impl.enabled(log::severity::error)) {
    loggers::process_impl.log(log::severity::error, boost::diagnostic_information(system_failure(code, text), true));
  }
  throw_system_error(code, text);
}

}  // namespace foundation::core::sysdep::windows

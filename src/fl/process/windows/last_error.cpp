#include "process/windows/last_error.hpp"

#include "common/windows/system_error.hpp"
#include "loggers.hpp"

#include <boost/exception/diagnostic_information.hpp>
#include <boost/system/system_error.hpp>

namespace foundation::core::sysdep::windows {

void throw_last_error(unsigned long code, const char* text, const boost::source_location& location) {
  if (loggers::process_impl.enabled(log::severity::error)) {
    const boost::system::system_error error(static_cast<int>(code), boost::system::system_category(), text);
    loggers::process_impl.log(log::severity::error, boost::diagnostic_information(error, true));
  }
  throw_system_error(code, text, location);
}

}  // namespace foundation::core::sysdep::windows

#include <foundation_log/indent_attribute.hpp>
#include <foundation_log/scope_trace.hpp>

#include <exception>

namespace foundation::log {

int scope_trace::enter(const basic_diagnostic_logger<char>& logger, const char* signature) noexcept {
  logger.log(severity::scope_entry, signature);
  detail::indent_attribute::increase();
  return std::uncaught_exceptions();
}

void scope_trace::leave(const basic_diagnostic_logger<char>& logger, const char* signature,
                        int uncaught_at_entry) noexcept {
  detail::indent_attribute::decrease();
  logger.log(severity::scope_exit, signature, std::uncaught_exceptions() > uncaught_at_entry ? " [throw]" : "");
}

}  // namespace foundation::log

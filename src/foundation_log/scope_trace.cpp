#include <foundation_log/indent_attribute.hpp>
#include <foundation_log/scope_trace.hpp>

#include <exception>

namespace foundation::log {

void scope_trace::enter() noexcept {
  uncaught_ = std::uncaught_exceptions();
  logger_.log(severity::scope_entry, signature_);
  detail::indent_attribute::increase();
}

void scope_trace::leave() noexcept {
  if (write_result_ != nullptr) {
    write_result_(logger_, result_name_, result_);
  }
  if (!active_) {
    return;
  }
  detail::indent_attribute::decrease();
  logger_.log(severity::scope_exit, signature_, std::uncaught_exceptions() > uncaught_ ? " [throw]" : "");
}

}  // namespace foundation::log

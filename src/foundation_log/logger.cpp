// Loggers and scope traces: what is behind the inline test of the header.

#include <foundation_log/logger.hpp>
#include <foundation_log/scope_trace.hpp>

#include "platform.hpp"
#include "record_pipeline.hpp"
#include "registry.hpp"

#include <exception>

namespace foundation::log {

namespace {

thread_local unsigned scope_indent = 0;  ///< The calling thread's depth of active scope traces.

std::string source_position(const char* file, int line, const char* function) {
  std::ostringstream text;
  text << "\n( Event generated in " << (function != nullptr ? function : "<unknown>") << " at line " << line << " from "
       << (file != nullptr ? file : "<unknown>") << " )";
  return text.str();
}

}  // namespace

namespace detail {

void indent_attribute::increase() noexcept {
  ++scope_indent;
}

void indent_attribute::decrease() noexcept {
  if (scope_indent > 0)
    --scope_indent;
}

unsigned indent_attribute::current() noexcept {
  return scope_indent;
}

void note_failed_part(std::ostream& text) noexcept {
  try {
    text.clear();
    text << "[the record ends here: printing threw " << current_exception_chain_as_string() << "]";
  } catch (...) {
    // Then the record ends without the note.
  }
}

void note_unprintable_part(std::ostream& text) {
  text.clear();
  text << "[unprintable]";
}

}  // namespace detail

using logger = basic_diagnostic_logger<char>;

logger::basic_diagnostic_logger(const char* channel)
    : effective_(not_configured), word_(default_level), channel_(channel != nullptr ? channel : "") {
  detail::registry::get().add(*this);
}

logger::~basic_diagnostic_logger() {
  detail::registry::get().remove(*this);
}

unsigned logger::level() const noexcept {
  if ((effective_.load(std::memory_order_relaxed) & not_configured) != 0)
    detail::registry::get().configure();
  return word_.load(std::memory_order_relaxed);
}

void logger::level(unsigned word) noexcept {
  detail::registry::get().set_level(*this, word);
}

bool logger::enabled_once_configured(unsigned severity) const noexcept {
  detail::registry::get().configure();
  return (effective_.load(std::memory_order_relaxed) & severity & severity_mask) != 0;
}

bool logger::recording() noexcept {
  const platform::error_keeper keep;
  return logging_enabled() && core_enabled();
}

bool logger::write(unsigned severity, const std::ostringstream& text) const noexcept {
  const platform::error_keeper keep;
  try {
    return push_record(channel_, severity, text.str());
  } catch (...) {
    return false;  // Without memory, or by another sink's failure, there is no record.
  }
}

void logger::report_check(unsigned check, std::ostringstream& text, const char* file, int line,
                          const char* function) const {
  const std::string condition = text.str();
  text << source_position(file, line, function);
  text.str(recording() && write(check, text) ? condition : "Expression information is not available.");
  if (check == severity::fatal)
    detail::terminate(text, file, line, function);
}

void scope_trace::enter() noexcept {
  uncaught_ = std::uncaught_exceptions();
  logger_.log(severity::scope_entry, signature_);
  detail::indent_attribute::increase();
}

void scope_trace::leave() noexcept {
  if (write_result_ != nullptr)
    write_result_(logger_, result_name_, result_);
  if (!active_)
    return;
  detail::indent_attribute::decrease();
  logger_.log(severity::scope_exit, signature_, std::uncaught_exceptions() > uncaught_ ? " [throw]" : "");
}

}  // namespace foundation::log

// Loggers: what is behind the inline test of the header.

#include <foundation_log/control.hpp>
#include <foundation_log/exception_chain.hpp>
#include <foundation_log/logger.hpp>

#include "platform.hpp"
#include "record_pipeline.hpp"
#include "registry.hpp"

#include <new>

namespace foundation::log {

namespace {

void append_position(std::ostream& text, const char* file, int line, const char* function) {
  text << "\n( Event generated in " << (function != nullptr ? function : "<unknown>") << " at line " << line << " from "
       << (file != nullptr ? file : "<unknown>") << " )";
}

/// Made with the first logger: when it is needed there may be no memory.
const std::ostringstream& no_information() {
  static const std::ostringstream& text = *new std::ostringstream("Expression information is not available.");
  return text;
}

}  // namespace

namespace detail {

void note_failed_part(std::ostream& text) noexcept {
  try {
    text.clear();
    text << "[the record ends here: printing threw " << current_exception_chain_as_string() << "]";
  } catch (...) {
    // Then the stream stays bad, and there is no record.
  }
}

void note_unprintable_part(std::ostream& text) {
  text.clear();
  if (!(text << "[unprintable]")) {
    throw std::bad_alloc();
  }
}

}  // namespace detail

using logger = basic_diagnostic_logger<char>;

logger::basic_diagnostic_logger(const char* channel)
    : effective_(not_configured), word_(default_level), channel_(channel != nullptr ? channel : "") {
  no_information();
  detail::registry::get().add(*this);
}

logger::~basic_diagnostic_logger() {
  detail::registry::get().remove(*this);
}

unsigned logger::level() const noexcept {
  if ((effective_.load(std::memory_order_relaxed) & not_configured) != 0) {
    detail::registry::get().configure();
  }
  return word_.load(std::memory_order_relaxed);
}

void logger::level(unsigned word) noexcept {
  detail::registry::get().set_level(*this, word);
}

bool logger::enabled_now(unsigned severity) const noexcept {
  const platform::error_keeper keep;
  if ((effective_.load(std::memory_order_relaxed) & not_configured) != 0) {
    detail::registry::get().configure();
  }
  return (effective_.load(std::memory_order_relaxed) & severity & severity_mask) != 0 && core_enabled();
}

bool logger::recording() noexcept {
  const platform::error_keeper keep;
  return logging_enabled() && core_enabled();
}

bool logger::write(unsigned severity, const std::ostringstream& text) const noexcept {
  const platform::error_keeper keep;
  if (!text) {
    return false;  // Memory has ended inside it.
  }
  try {
    return push_record(channel_, severity, text.str());
  } catch (...) {
    return false;  // Without memory, or by another sink's failure, there is no record.
  }
}

void logger::report_check(unsigned check, const std::ostringstream& text, const char* file, int line,
                          const char* function) const {
  bool is_written = false;
  if (text && recording()) {
    std::ostringstream record;
    record.imbue(std::locale::classic());
    record << text.view();
    append_position(record, file, line, function);
    is_written = write(check, record);
  }
  if (check == severity::fatal) {
    detail::terminate(is_written ? text : no_information(), file, line, function);
  }
}

}  // namespace foundation::log

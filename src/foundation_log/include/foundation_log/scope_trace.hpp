// Trace of a scope: its entry, its named result and its exit, with the records between them indented.
//
//     bool result = false;
//     foundation::log::scope_trace trace(logger, __PRETTY_FUNCTION__);
//     trace.result("result", result);
//
// While none of its severities is enabled, a trace costs the load and the test of a record that is not, and the same
// again for a result.
//
// Thread safety: an object belongs to the thread and the scope that made it.
#pragma once

#include <foundation_log/logger.hpp>

#include <memory>

namespace foundation::log {

/// Traces the scope in which it stands.
class scope_trace {
 public:
  /// The trace is active if `severity::scope_entry` is enabled now: then it logs the signature at that severity and
  /// raises the indent. `signature` is zero-terminated and must outlive the object, as `logger` must.
  scope_trace(basic_diagnostic_logger<char>& logger, const char* signature) noexcept
      : logger_(logger),
        signature_(signature),
        active_(logger.enabled(severity::scope_entry)),
        uncaught_(active_ ? enter(logger, signature) : 0) {}

  /// If active, lowers the indent and logs the signature at `severity::scope_exit`, with " [throw]" behind it if the
  /// scope is left by an exception. The result, if there is one, comes first, whether or not the trace is active.
  [[gnu::always_inline]] ~scope_trace() {  // Called with the object's address it would cost stores while it is off.
    if (write_result_ != nullptr && logger_.enabled(severity::result)) {
      write_result_(logger_, result_name_, result_);
    }
    if (active_) {
      leave(logger_, signature_, uncaught_);
    }
  }

  scope_trace(const scope_trace&) = delete;
  scope_trace& operator=(const scope_trace&) = delete;

  /// Logs `name`, "=" and the value that `value` has at the scope's end, at `severity::result`. Only the address is
  /// kept: declare the variable before the trace, with an initial value, since a scope that is left by an exception
  /// logs it too. A later call replaces an earlier one. `name` must outlive the object.
  template <class T>
  void result(const char* name, const T& value) noexcept {
    result_name_ = name;
    result_ = std::addressof(value);
    write_result_ = [](const basic_diagnostic_logger<char>& logger, const char* result_name, const void* result) {
      logger.write_parts<const char*, const char*, const T&>(severity::result, result_name, "=",
                                                             *static_cast<const T*>(result));
    };
  }

  template <class T>
  void result(const char* name, const T&& value) = delete;  // A temporary is gone at the scope's end.

 private:
  // Both get values instead of the object, which then needs no memory while nothing is traced.
  /// Returns how many exceptions are in flight.
  [[gnu::cold]] FOUNDATION_LOG_API static int enter(const basic_diagnostic_logger<char>& logger,
                                                    const char* signature) noexcept;
  [[gnu::cold]] FOUNDATION_LOG_API static void leave(const basic_diagnostic_logger<char>& logger, const char* signature,
                                                     int uncaught_at_entry) noexcept;

  basic_diagnostic_logger<char>& logger_;
  const char* signature_;
  bool active_;
  int uncaught_;  ///< Exceptions in flight at the entry; of an active trace only.
  const char* result_name_ = nullptr;
  const void* result_ = nullptr;
  void (*write_result_)(const basic_diagnostic_logger<char>&, const char*,
                        const void*) = nullptr;  ///< Null: no result.
};

}  // namespace foundation::log

#include <fl/diag/termination_observer.hpp>

#include "diag/terminate_engine.hpp"

namespace foundation::core::diag {

termination_observer::termination_observer(function_type observer) noexcept
    : previous_(term().exchange_observer(observer)) {}

termination_observer::~termination_observer() {
  term().exchange_observer(previous_);
}

[[gnu::noinline]] void default_termination_observer(const char* message, const char* file, int line,
                                                    const char* function) noexcept {
  const report_event event{true, message != nullptr ? message : "", file, line, function, __builtin_return_address(0)};
  term().append(event, thread_context(false));
}

}  // namespace foundation::core::diag

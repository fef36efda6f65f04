#include <fl/diag/termination_observer.hpp>

#include "diag/terminate_engine.hpp"

namespace foundation::core::diag {

termination_observer::termination_observer(function_type observer) : previous_(term().exchange_observer(observer)) {}

termination_observer::~termination_observer() {
  try {
    term().exchange_observer(previous_);
  } catch (...) {
    // The observer is back; a log that is being written to at this moment, by this very thread, stays.
  }
}

}  // namespace foundation::core::diag

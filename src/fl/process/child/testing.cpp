#include <fl/process/testing.hpp>

#include "process/child/process_reaper_instance.hpp"

namespace foundation::core::process::testing {

using sysdep::windows::process_reaper_instance;

bool join_all_async_procs() noexcept {
  process_reaper_instance()->join();
  return true;
}

void set_implementation_qos(implementation_qos value) {
  sysdep::windows::request_implementation_qos(value);
}

implementation_qos get_implementation_qos() {
  process_reaper_instance();
  return implementation_qos{2};
}

}  // namespace foundation::core::process::testing

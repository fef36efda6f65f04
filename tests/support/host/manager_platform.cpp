#include "host/manager_platform.hpp"

#include "mem/crt_heap_tuning.hpp"
#include "mem/option_string.hpp"
#include "mem/plugin.hpp"

test_support::manager_platform& test_support::host_manager() {
  static manager_platform platform;
  return platform;
}

namespace foundation::core::sysdep::windows {

using test_support::host_manager;

const std::string& read_option_string() {
  return host_manager().options;
}

int load_and_run_plugin(bool enabled) {
  host_manager().calls += enabled ? 'p' : '?';
  return host_manager().plugin_answer;
}

crt_heap_tuning::crt_heap_tuning(bool terminate_on_corruption) : heap_(nullptr) {
  host_manager().calls += terminate_on_corruption ? 'T' : 't';
}

}  // namespace foundation::core::sysdep::windows

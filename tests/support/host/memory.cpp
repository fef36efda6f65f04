#include "host/memory.hpp"

#include "mem/crt_heap_tuning.hpp"
#include "mem/option_string.hpp"
#include "mem/page_mask.hpp"
#include "mem/plugin.hpp"
#include "mem/stats_reader.hpp"

foundation::core::mem::physical_memory& test_support::host_memory() {
  static foundation::core::mem::physical_memory memory{};
  return memory;
}

test_support::manager_script& test_support::host_manager() {
  static manager_script script;
  return script;
}

namespace foundation::core::mem {

physical_memory get_physical_memory() {
  return test_support::host_memory();
}

const std::uintptr_t page_mask = ~std::uintptr_t{4095};
std::unique_ptr<MemStatsReader> stats_reader;

}  // namespace foundation::core::mem

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

#include "host/memory.hpp"

#include "mem/page_mask.hpp"
#include "mem/stats_reader.hpp"

foundation::core::mem::physical_memory& test_support::host_memory() {
  static foundation::core::mem::physical_memory memory{};
  return memory;
}

namespace foundation::core::mem {

physical_memory get_physical_memory() {
  return test_support::host_memory();
}

const std::uintptr_t page_mask = ~std::uintptr_t{4095};
std::unique_ptr<MemStatsReader> stats_reader;

}  // namespace foundation::core::mem

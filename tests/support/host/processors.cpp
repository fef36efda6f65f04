#include "host/processors.hpp"

#include "system/processor_frequency.hpp"
#include "system/processor_query.hpp"

#include <new>
#include <stdexcept>

test_support::host_processors& test_support::processors() {
  static host_processors script;
  return script;
}

namespace foundation::core::system::windows {

using test_support::processors;

process_affinity getProcessAffinity() {
  return processors().affinity;
}

std::vector<std::byte> getProcessorRecords() {
  if (processors().no_memory) {
    throw std::bad_alloc();
  }
  return processors().records;
}

std::vector<CpuSetEntry> WindowsCpuSetActual::query() const {
  return processors().cpu_sets;
}

unsigned long long getMaximumProcessorFrequencyImpl() {
  throw std::runtime_error("no frequency here");
}

}  // namespace foundation::core::system::windows

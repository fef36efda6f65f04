// What the logic of processor information asks of a system, scripted.
#pragma once

#include "processor_records.hpp"
#include "system/cpu_set.hpp"
#include "system/processor_topology.hpp"

namespace test_support {

struct host_processors {
  foundation::core::system::process_affinity affinity{~std::uint64_t{0}, 1, {0}};
  record_buffer records;
  std::vector<foundation::core::system::windows::CpuSetEntry> cpu_sets;
  bool no_memory = false;  ///< There is none for the records.
};

/// The system refuses to name the frequency, whatever the script.
host_processors& processors();

}  // namespace test_support

// What the system says of its processors and of this process's share in them. Implemented in
// windows/processor_query.cpp.
//
// If a system call fails, these throw `boost::system::system_error`, wrapped as an internal exception; they throw
// `std::bad_alloc`. Any thread.
#pragma once

#include "system/processor_topology.hpp"

#include <cstddef>
#include <vector>

namespace foundation::core::system::windows {

/// Where this process may run now. Writes what it finds to the log.
process_affinity getProcessAffinity();

/// All records of GetLogicalProcessorInformationEx.
std::vector<std::byte> getProcessorRecords();

}  // namespace foundation::core::system::windows

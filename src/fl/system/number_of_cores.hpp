// How many cores the machine has, of which kinds, and how many this process may use. Asks the system anew at each call
// (processor_query.hpp, cpu_set.hpp).
#pragma once

namespace foundation::core::system::windows {

/// Named as the members of CpuInfo that they become.
struct core_details {
  unsigned long long pCores = 0;
  unsigned long long lCores = 0;
  unsigned long long aCores = 0;
  int performanceCores = -1;
  int efficiencyCores = -1;
};

/// If a system call fails, throws `boost::system::system_error`, wrapped as an internal exception, and leaves `result`
/// as it is; throws `std::bad_alloc`.
void computeNumberOfCores(core_details& result);

}  // namespace foundation::core::system::windows

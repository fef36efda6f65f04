// Asks the system for its cores.
#pragma once

#include <fl/system/cpu_info.hpp>

namespace foundation::core::system::windows {

/// Fills the counts of cores and the tiers. If a system call fails, throws `boost::system::system_error`, wrapped as an
/// internal exception, and leaves `result` as it is; throws `std::bad_alloc`.
void computeNumberOfCores(detail::details& result);

}  // namespace foundation::core::system::windows

// Walking a stack by what the system's own handling of exceptions goes by, without its symbol service.
#pragma once

#include <windows.h>

namespace foundation::core::diag {

/// Makes `state` that behind the return of the function that it is in, which must be alive: what has returned leaves no
/// frame to follow. A corrupt stack may cause a hardware fault. Allocates nothing.
void leave_function(CONTEXT& state) noexcept;

}  // namespace foundation::core::diag

// Stack that threads set aside for the report of their overflow. Thread safety: any thread.
#pragma once

#include <cstddef>

namespace foundation::kit {

/// Threads that begin from now on, and the calling one, set this many bytes aside. 0: no thread does so any more.
void set_stack_reserve(std::size_t bytes) noexcept;

/// The calling thread does so. False if nothing is wanted or the system refuses.
bool reserve_stack() noexcept;

}  // namespace foundation::kit

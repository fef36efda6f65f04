// Names of threads, for debuggers and for what a process says about itself when it dies.
//
// Thread safety: both functions concern the calling thread alone. A fiber counts as a thread of its own.
// Deliberately not here: the names of other threads, and names that were given through the system alone.
#pragma once

#include <conc_common/export.hpp>

#include <cstddef>
#include <string>

namespace foundation::concurrent::common {

/// Names the calling thread. `name` is UTF-8 and ends at its first zero; what is ill-formed in it becomes U+FFFD. The
/// system gets it as well where it keeps such names (Windows 10 and later), so that debuggers show it; that the system
/// refuses is no failure. An empty name is a name like others; none takes a thread back to having no name.
///
/// Throws `std::bad_alloc`; the former name then stays.
CONC_COMMON_API void setCurrentThreadName(const std::string& name);

/// Writes the calling thread's name to `buffer`, zero-terminated and cut between two characters so that it takes at
/// most `size` bytes, and returns true. Returns false and leaves the buffer alone if the thread was given no name, or
/// if `buffer` is null or `size` is 0.
///
/// Allocates nothing, takes no lock and keeps the last error: it may be called when the process is dying.
CONC_COMMON_API bool getCurrentThreadName(char* buffer, std::size_t size) noexcept;

}  // namespace foundation::concurrent::common

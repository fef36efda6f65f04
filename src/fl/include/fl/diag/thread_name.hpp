// The name of the calling thread, which reports show.
#pragma once

#include <fl/export.hpp>

#include <cstddef>
#include <string>

namespace foundation::core::diag {

/// Names the calling thread, for reports, debuggers and profilers. `name` is UTF-8. An empty name is a name: reports
/// show '' then, and '<unknown>' only for a thread that was never named. Throws `std::bad_alloc`.
FL_API void setCurrentThreadName(const std::string& name);

/// Writes the calling thread's name to `buffer` of `size` bytes, zero-terminated and cut to fit, and returns true. If
/// the thread was given no name, returns false and leaves the buffer alone. Allocates nothing.
FL_API bool getCurrentThreadName(char* buffer, std::size_t size);

}  // namespace foundation::core::diag

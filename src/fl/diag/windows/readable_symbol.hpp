// Names of functions as a reader wants them, made without the heap.
#pragma once

#include <cstddef>

namespace foundation::core::diag {

/// Writes `symbol` to `buffer`, demangled if it is a mangled name, otherwise as it is, zero-terminated and cut to
/// `size` bytes, which is not 0. Any thread.
void write_readable_symbol(const char* symbol, char* buffer, std::size_t size) noexcept;

}  // namespace foundation::core::diag

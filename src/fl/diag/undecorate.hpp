// The system's own reader of decorated names.
#pragma once

#include <cstddef>

namespace foundation::core::diag {

/// Writes the readable form of `name` to `buffer`, zero-terminated and cut to `size` bytes. False if the system cannot
/// read the name. Implemented in windows/undecorate.cpp. Any thread.
bool undecorate(const char* name, char* buffer, std::size_t size);

}  // namespace foundation::core::diag

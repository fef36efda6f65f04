// What RamState asks of the system.
#pragma once

#include <cstdint>

namespace foundation::core::mem {

struct physical_memory {
  std::uint64_t total;      ///< in bytes
  std::uint64_t available;  ///< in bytes
};

/// Implemented in windows/physical_memory.cpp. Throws `boost::system::system_error`, wrapped as an internal exception.
physical_memory get_physical_memory();

}  // namespace foundation::core::mem

// What the system knows of the memory at an address.
#pragma once

#include <windows.h>

namespace foundation::core::diag {

/// Writes the pages from that of `address` on that are alike, and whose they are, to `region`. False if there is no
/// committed memory.
inline bool find_committed_region(const void* address, MEMORY_BASIC_INFORMATION& region) noexcept {
  return VirtualQuery(address, &region, sizeof region) != 0 && region.State == MEM_COMMIT;
}

}  // namespace foundation::core::diag

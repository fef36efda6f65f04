// What reports and assertions of this folder name as their place, wherever the code stands: who reads a report looks
// for these names.
#pragma once

namespace foundation::core::mem::detail {

inline constexpr const char* heap_path = "src/fl/mem/alignment";       ///< the aligned heap
inline constexpr const char* manager_path = "src/fl/mem/mem_manager";  ///< the manager and its features

}  // namespace foundation::core::mem::detail

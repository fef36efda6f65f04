// Who must not be left behind by the library.
#pragma once

namespace foundation::core::util {

/// Keeps this library in the process until that ends, whatever its users unload. For whoever hands one of its functions
/// to others for good: to the system's thread pool, where nothing shows when a callback has returned to the last
/// instruction, or to the C++ run-time; and for what is made once and lives until the process ends, which every load
/// would make anew. Any thread; where the system refuses, the library stays as long as its users keep it. Waits for the
/// loader. Implemented in windows/keep_loaded.cpp.
void keep_library_loaded() noexcept;

}  // namespace foundation::core::util

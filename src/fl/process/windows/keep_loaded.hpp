#pragma once

namespace foundation::core::sysdep::windows {

/// Keeps this library in the process until that ends, whatever its users unload. For whoever hands one of its functions
/// to the system's thread pool: nothing shows when a callback has returned to the last instruction. Any thread; where
/// the system refuses, the library stays as long as its users keep it.
void keep_library_loaded() noexcept;

}  // namespace foundation::core::sysdep::windows

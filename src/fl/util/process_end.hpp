// Whether the process is on its way out.
#pragma once

namespace foundation::core::util {

/// True once the system has ended all threads but the calling one, wherever they stood, and calls what is to run at the
/// end of each DLL: what they held is not given back any more. Implemented in windows/process_end.cpp.
bool process_is_ending() noexcept;

}  // namespace foundation::core::util

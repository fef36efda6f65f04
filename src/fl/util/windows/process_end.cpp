#include "util/process_end.hpp"

#include <windows.h>

// The loader's flag. No header of this compiler has it.
extern "C" __declspec(dllimport) BOOLEAN NTAPI RtlDllShutdownInProgress();

bool foundation::core::util::process_is_ending() noexcept {
  return RtlDllShutdownInProgress() != FALSE;
}

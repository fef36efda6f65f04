// Reading what a token says of itself.
#pragma once

#include <windows.h>

#include <cstddef>
#include <vector>

namespace foundation::core::sysdep::windows {

/// How many bytes the answer to `question` has; 0 if the system does not say.
DWORD token_information_size(HANDLE token, TOKEN_INFORMATION_CLASS question);

/// The answer, `size` bytes of it, as the system's structure for that question; empty if `token` cannot be read.
std::vector<std::byte> token_information(HANDLE token, TOKEN_INFORMATION_CLASS question, DWORD size);

}  // namespace foundation::core::sysdep::windows

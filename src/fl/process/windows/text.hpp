// Text that must be exactly right to reach the system at all. Pure functions.
#pragma once

#include <string>

namespace foundation::core::sysdep::windows {

/// UTF-8 to the system's UTF-16. Throws std::range_error "bad conversion" on text that is not valid UTF-8.
std::wstring to_wide(const std::string& utf8);

/// Returns `text`. Throws std::invalid_argument, naming `what` it is, if it holds a NUL: the system ends a text at its
/// first one, so that the rest would silently be lost, or become something else.
const std::string& without_nul(const std::string& text, const char* what);

}  // namespace foundation::core::sysdep::windows

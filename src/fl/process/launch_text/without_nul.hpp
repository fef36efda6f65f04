// Text that reaches the system whole or not at all. A pure function, safe on any thread.
#pragma once

#include <string>

namespace foundation::core::process {

/// Returns `text`. Throws std::invalid_argument, naming `what` it is, if it holds a NUL: the system ends a text at its
/// first one, so that the rest would silently be lost, or become something else.
const std::string& without_nul(const std::string& text, const char* what);

}  // namespace foundation::core::process

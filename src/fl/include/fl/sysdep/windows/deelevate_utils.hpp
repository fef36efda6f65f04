// Questions about the elevation of a token.
#pragma once

#include <fl/export.hpp>

namespace foundation::core::sysdep::windows {

/// 1 if `token` (borrowed) is elevated, else 0; a null token means this process. Any thread.
/// Throws boost::system::system_error if the token cannot be opened or read.
FL_API int IsTokenElevated(void* token);

}  // namespace foundation::core::sysdep::windows

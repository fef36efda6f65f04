// The list of attributes that the startup data of a child can carry.
#pragma once

#include <windows.h>

#include <cstddef>

namespace foundation::core::sysdep::windows {

/// A list with room for `places` attributes, which the caller deletes. What an attribute refers to must outlive the
/// list. Throws std::bad_alloc, and std::logic_error if the system refuses.
LPPROC_THREAD_ATTRIBUTE_LIST make_attribute_list(std::size_t places);

/// Deletes `list` and sets it to null.
void delete_attribute_list(LPPROC_THREAD_ATTRIBUTE_LIST& list);

}  // namespace foundation::core::sysdep::windows

// Whose stack a context describes.
#pragma once

#include <fl/diag/thread_context.hpp>

namespace foundation::core::diag {

/// An address in the stack of the thread whose state the context holds; null if it is empty.
const void* stack_pointer_of(const thread_context& context) noexcept;

}  // namespace foundation::core::diag

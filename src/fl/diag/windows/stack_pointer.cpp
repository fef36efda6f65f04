#include "diag/stack_pointer.hpp"

#include <windows.h>

const void* foundation::core::diag::stack_pointer_of(const thread_context& context) noexcept {
  return context ? reinterpret_cast<const void*>(context.get_data()->Rsp) : nullptr;
}

#include <fl/diag/unknown_exception_name.hpp>

#include <cxxabi.h>

#include <exception>
#include <typeinfo>

namespace foundation::core::diag {

const char* unknown_exception_name() noexcept {
  // Of an exception that another language threw there is no pointer, and what would be read as its type is none.
  if (!std::current_exception()) {
    return nullptr;
  }
  const std::type_info* const type = abi::__cxa_current_exception_type();
  return type != nullptr ? type->name() : nullptr;
}

}  // namespace foundation::core::diag

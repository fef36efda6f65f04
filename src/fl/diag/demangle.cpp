#include <fl/diag/demangle.hpp>

#include "diag/undecorate.hpp"

#include <cxxabi.h>

#include <cstdlib>
#include <cstring>
#include <memory>
#include <new>
#include <stdexcept>

namespace foundation::core::diag::detail {

std::string demangle_typeid_name(const char* name, bool strict) {
  if (name == nullptr || *name == '\0') {
    if (strict) {
      throw std::invalid_argument("<null>");
    }
    return {};
  }
  int status = 0;
  const std::unique_ptr<char, void (*)(void*)> readable(abi::__cxa_demangle(name, nullptr, nullptr, &status),
                                                        std::free);
  constexpr std::size_t longest = 1023;
  if (readable) {
    return std::string(readable.get(), ::strnlen(readable.get(), longest));
  }
  constexpr int no_memory = -1;
  if (status == no_memory) {
    throw std::bad_alloc();
  }
  // Names of another compiler's types.
  char buffer[longest + 1];
  if (undecorate(name, buffer, sizeof buffer)) {
    return buffer;
  }
  if (strict) {
    throw std::invalid_argument(name);
  }
  return name;
}

}  // namespace foundation::core::diag::detail

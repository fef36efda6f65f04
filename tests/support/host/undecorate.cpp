// No decorated names but the compiler's own in the native build.
#include "diag/undecorate.hpp"

bool foundation::core::diag::undecorate(const char*, char*, std::size_t) {
  return false;
}

#include "util/process_id.hpp"

#include <process.h>

int foundation::core::util::process_id() noexcept {
  return ::_getpid();
}

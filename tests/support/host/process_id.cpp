#include "util/process_id.hpp"

#include <unistd.h>

int foundation::core::util::process_id() noexcept {
  return ::getpid();
}

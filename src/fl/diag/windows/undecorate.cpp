#include "diag/undecorate.hpp"

#include "diag/windows/symbol_service.hpp"
#include "util/slim_lock.hpp"

#include <mutex>

namespace foundation::core::diag {

namespace {

constinit util::slim_lock undecorate_lock;  // The system's function is not safe for use by several threads.

}  // namespace

bool undecorate(const char* name, char* buffer, std::size_t size) {
  const std::lock_guard lock(undecorate_lock);
  return symbol_service::undecorate_name(name, buffer, static_cast<DWORD>(size), UNDNAME_COMPLETE) != 0;
}

}  // namespace foundation::core::diag

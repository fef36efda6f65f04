#include "diag/undecorate.hpp"

#include "diag/windows/symbol_engine.hpp"
#include "diag/windows/symbol_service.hpp"

namespace foundation::core::diag {

bool undecorate(const char* name, char* buffer, std::size_t size) {
  util::checked_lock& lock = symbol_engine::instance().lock();
  if (lock.acquire() != util::checked_lock::outcome::acquired) {
    return false;
  }
  const DWORD length = symbol_service::undecorate_name(name, buffer, static_cast<DWORD>(size), UNDNAME_COMPLETE);
  lock.unlock();
  return length != 0;
}

}  // namespace foundation::core::diag

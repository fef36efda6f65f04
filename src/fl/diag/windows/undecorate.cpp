#include "diag/undecorate.hpp"

#include "diag/windows/symbol_engine.hpp"
#include "diag/windows/symbol_service.hpp"

namespace foundation::core::diag {

bool undecorate(const char* name, char* buffer, std::size_t size) {
  DWORD length = 0;
  with_symbol_engine([&](symbol_engine&) {
    length = symbol_service::undecorate_name(name, buffer, static_cast<DWORD>(size), UNDNAME_COMPLETE);
  });
  return length != 0;
}

}  // namespace foundation::core::diag

#include "util/keep_loaded.hpp"

#include <windows.h>

namespace foundation::core::util {

void keep_library_loaded() noexcept {
  HMODULE self = nullptr;
  ::GetModuleHandleExW(GET_MODULE_HANDLE_EX_FLAG_FROM_ADDRESS | GET_MODULE_HANDLE_EX_FLAG_PIN,
                       reinterpret_cast<LPCWSTR>(&keep_library_loaded), &self);
}

}  // namespace foundation::core::util

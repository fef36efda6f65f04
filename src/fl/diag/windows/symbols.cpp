#include <fl/diag/symbols.hpp>

#include "common/windows/handle_closer.hpp"
#include "common/windows/procedure.hpp"
#include "diag/windows/memory_region.hpp"

#include <windows.h>

namespace foundation::core::diag::symbols {

const void* getModuleAddress(const void* address) noexcept {
  MEMORY_BASIC_INFORMATION region;
  return find_committed_region(address, region) ? region.AllocationBase : nullptr;
}

const void* getSymbolAddress(const void* moduleAddress, const char* name) {
  HMODULE module = nullptr;
  // For the system null would be the program.
  if (moduleAddress == nullptr ||
      !GetModuleHandleExA(GET_MODULE_HANDLE_EX_FLAG_FROM_ADDRESS, static_cast<const char*>(moduleAddress), &module)) {
    return nullptr;
  }
  const sysdep::windows::HandleCloser<HMODULE> held(module, [](HMODULE& loaded) { FreeLibrary(loaded); });
  return sysdep::windows::find_procedure<const void*>(module, name);
}

}  // namespace foundation::core::diag::symbols

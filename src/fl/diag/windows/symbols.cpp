#include <fl/diag/symbols.hpp>

#include <windows.h>

namespace foundation::core::diag::symbols {

const void* getModuleAddress(const void* address) noexcept {
  MEMORY_BASIC_INFORMATION region;
  const bool known = VirtualQuery(address, &region, sizeof region) != 0;
  return known && region.State == MEM_COMMIT ? region.AllocationBase : nullptr;
}

const void* getSymbolAddress(const void* moduleAddress, const char* name) {
  HMODULE module = nullptr;
  // The system would take null for the program.
  if (moduleAddress == nullptr ||
      !GetModuleHandleExA(GET_MODULE_HANDLE_EX_FLAG_FROM_ADDRESS, static_cast<const char*>(moduleAddress), &module)) {
    return nullptr;
  }
  const void* const symbol = reinterpret_cast<const void*>(GetProcAddress(module, name));
  FreeLibrary(module);
  return symbol;
}

}  // namespace foundation::core::diag::symbols

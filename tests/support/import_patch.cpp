#include "import_patch.hpp"

#include <dbghelp.h>

#include <cstddef>
#include <cstring>
#include <string>

namespace test_support {
namespace {

// The word of the module's import table that holds `function`, or null. The names stand in a second table, entry by
// entry; addresses in it are offsets from the module's base.
import_patch::any_function* find_slot(HMODULE module, const char* function) {
  const auto base = reinterpret_cast<std::byte*>(module);
  ULONG size = 0;
  const auto* dll = static_cast<const IMAGE_IMPORT_DESCRIPTOR*>(
      ::ImageDirectoryEntryToData(module, TRUE, IMAGE_DIRECTORY_ENTRY_IMPORT, &size));
  for (; dll != nullptr && dll->Name != 0; ++dll) {
    const auto* name = reinterpret_cast<const IMAGE_THUNK_DATA*>(base + dll->OriginalFirstThunk);
    auto* slot = reinterpret_cast<import_patch::any_function*>(base + dll->FirstThunk);
    for (; name->u1.AddressOfData != 0; ++name, ++slot) {
      const auto* import = reinterpret_cast<const IMAGE_IMPORT_BY_NAME*>(base + name->u1.AddressOfData);
      if (!IMAGE_SNAP_BY_ORDINAL(name->u1.Ordinal) && std::strcmp(&import->Name[0], function) == 0) {
        return slot;
      }
    }
  }
  return nullptr;
}

// Import tables are read-only once the loader is done. The store is one aligned word: callers see the old or the new.
bool store(import_patch::any_function* slot, import_patch::any_function value) {
  DWORD protection = 0;
  if (!::VirtualProtect(slot, sizeof *slot, PAGE_READWRITE, &protection)) {
    return false;
  }
  ::InterlockedExchangePointer(reinterpret_cast<void**>(slot), reinterpret_cast<void*>(value));
  return ::VirtualProtect(slot, sizeof *slot, protection, &protection);
}

}  // namespace

import_patch::import_patch(const char* module, const char* function, any_function replacement,
                           std::atomic<any_function>& original) {
  const HMODULE loaded = ::GetModuleHandleA(module);
  slot_ = loaded ? find_slot(loaded, function) : nullptr;
  const std::string what = std::string(module ? module : "the program") + " -> " + function;
  if (slot_ == nullptr) {
    throw std::runtime_error("import_patch: no such module or import: " + what);
  }
  original_ = *slot_;
  original = original_;
  if (!store(slot_, replacement)) {
    throw std::runtime_error("import_patch: import table not writable: " + what);
  }
}

import_patch::~import_patch() {
  const DWORD error = ::GetLastError();
  store(slot_, original_);
  ::SetLastError(error);
}

}  // namespace test_support

#include "windows/import_tables.hpp"

#include "common/windows/handle_closer.hpp"

#include <windows.h>
#include <psapi.h>

#include <vector>

namespace mobservation {

namespace {

/// The module that has `address` in it. With it held, it stays loaded.
HMODULE module_of(const void* address, DWORD hold) {
  HMODULE module = nullptr;
  GetModuleHandleExW(GET_MODULE_HANDLE_EX_FLAG_FROM_ADDRESS | hold, static_cast<const wchar_t*>(address), &module);
  return module;
}

std::vector<HMODULE> loaded_modules() {
  std::vector<HMODULE> modules(128);
  for (;;) {
    const auto size = static_cast<DWORD>(modules.size() * sizeof(HMODULE));
    DWORD needed = 0;
    if (!EnumProcessModules(GetCurrentProcess(), modules.data(), size, &needed)) {
      return {};
    }
    modules.resize(needed / sizeof(HMODULE));
    if (needed <= size) {
      return modules;
    }
  }
}

/// What stands at `offset` in the image of a module.
template <class T>
T* in_image(HMODULE module, std::size_t offset) {
  return reinterpret_cast<T*>(reinterpret_cast<std::byte*>(module) + offset);
}

const IMAGE_IMPORT_DESCRIPTOR* import_table(HMODULE module) {
  const auto* const dos = in_image<const IMAGE_DOS_HEADER>(module, 0);
  const auto* const nt = in_image<const IMAGE_NT_HEADERS>(module, static_cast<std::size_t>(dos->e_lfanew));
  const DWORD offset = nt->OptionalHeader.DataDirectory[IMAGE_DIRECTORY_ENTRY_IMPORT].VirtualAddress;
  return offset != 0 ? in_image<const IMAGE_IMPORT_DESCRIPTOR>(module, offset) : nullptr;
}

/// Import tables are read-only once the loader is done. Code may share their page: it must stay executable.
bool exchange(void* volatile* slot, void* expected, void* value) {
  MEMORY_BASIC_INFORMATION page{};
  if (VirtualQuery(const_cast<void**>(slot), &page, sizeof page) == 0) {
    return false;
  }
  constexpr DWORD executable = PAGE_EXECUTE | PAGE_EXECUTE_READ | PAGE_EXECUTE_READWRITE | PAGE_EXECUTE_WRITECOPY;
  DWORD protection = (page.Protect & executable) != 0 ? PAGE_EXECUTE_READWRITE : PAGE_READWRITE;
  if (!VirtualProtect(const_cast<void**>(slot), sizeof *slot, protection, &protection)) {
    return false;
  }
  const bool done = InterlockedCompareExchangePointer(slot, value, expected) == expected;
  VirtualProtect(const_cast<void**>(slot), sizeof *slot, protection, &protection);
  return done;
}

std::size_t redirect_in(HMODULE module, std::initializer_list<redirection> redirections) {
  std::size_t changed = 0;
  for (const auto* dll = import_table(module); dll != nullptr && dll->Name != 0; ++dll) {
    for (auto slot = in_image<void* volatile>(module, dll->FirstThunk); *slot != nullptr; ++slot) {
      for (const auto& [from, to] : redirections) {
        if (*slot == reinterpret_cast<void*>(from)) {
          changed += exchange(slot, reinterpret_cast<void*>(from), reinterpret_cast<void*>(to));
        }
      }
    }
  }
  return changed;
}

}  // namespace

std::size_t redirect_imports(std::initializer_list<redirection> redirections) {
  const HMODULE self =
      module_of(reinterpret_cast<void*>(redirect_imports), GET_MODULE_HANDLE_EX_FLAG_UNCHANGED_REFCOUNT);
  std::size_t changed = 0;
  for (const HMODULE module : loaded_modules()) {
    HMODULE held = module != self ? module_of(module, 0) : nullptr;
    const foundation::core::sysdep::windows::HandleCloser<HMODULE> release(held, [](HMODULE& of) { FreeLibrary(of); });
    if (held != nullptr) {  // Otherwise it is this one, or was unloaded meanwhile.
      changed += redirect_in(held, redirections);
    }
  }
  return changed;
}

}  // namespace mobservation

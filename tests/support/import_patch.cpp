#include "import_patch.hpp"

#include "common/windows/late_function.hpp"

#include <dbghelp.h>

namespace test_support {
namespace {

using foundation::core::sysdep::windows::late_import;

// Calls `visit` with each name that the module imports, the DLL that it comes from, and the word of the import table
// that holds the function, until one answers true. The names stand in a second table, entry by entry; addresses in it
// are offsets from the module's base. Then with what the module looks up itself when it is first needed, and with that
// as it stands: the word is empty until then.
template <class Visit>
void find_import(HMODULE module, Visit visit) {
  const auto base = reinterpret_cast<std::byte*>(module);
  ULONG size = 0;
  const auto* dll = !module ? nullptr
                            : static_cast<const IMAGE_IMPORT_DESCRIPTOR*>(
                                  ::ImageDirectoryEntryToData(module, TRUE, IMAGE_DIRECTORY_ENTRY_IMPORT, &size));
  for (; dll != nullptr && dll->Name != 0; ++dll) {
    const auto* name = reinterpret_cast<const IMAGE_THUNK_DATA*>(base + dll->OriginalFirstThunk);
    auto* slot = reinterpret_cast<import_patch::any_function*>(base + dll->FirstThunk);
    for (; name->u1.AddressOfData != 0; ++name, ++slot) {
      const auto* import = reinterpret_cast<const IMAGE_IMPORT_BY_NAME*>(base + name->u1.AddressOfData);
      if (!IMAGE_SNAP_BY_ORDINAL(name->u1.Ordinal) &&
          visit(&import->Name[0], reinterpret_cast<const char*>(base + dll->Name), slot, nullptr)) {
        return;
      }
    }
  }
  const IMAGE_NT_HEADERS* const headers = !module ? nullptr : ::ImageNtHeader(module);
  const IMAGE_SECTION_HEADER* section = !headers ? nullptr : IMAGE_FIRST_SECTION(headers);
  for (int left = headers ? headers->FileHeader.NumberOfSections : 0; left != 0; --left, ++section) {
    if (std::strcmp(reinterpret_cast<const char*>(section->Name), ".late") == 0) {
      auto* late = reinterpret_cast<late_import*>(base + section->VirtualAddress);
      for (auto* end = late + section->Misc.VirtualSize / sizeof *late; late != end; ++late) {
        if (visit(late->name, late->library, reinterpret_cast<import_patch::any_function*>(&late->function), late)) {
          return;
        }
      }
    }
  }
}

// Import tables are read-only once the loader is done. The store is one aligned word: callers see the old or the new.
void store(import_patch::any_function* slot, import_patch::any_function value) {
  DWORD protection = 0;
  ::VirtualProtect(slot, sizeof *slot, PAGE_READWRITE, &protection);
  ::InterlockedExchangePointer(reinterpret_cast<void**>(slot), reinterpret_cast<void*>(value));
  ::VirtualProtect(slot, sizeof *slot, protection, &protection);
}

}  // namespace

import_patch::import_patch(const char* module, const char* function, any_function replacement,
                           std::atomic<any_function>& original) {
  const HMODULE loaded = ::GetModuleHandleA(module);
  find_import(loaded, [&](const char* name, const char*, any_function* slot, late_import* late) {
    if (std::strcmp(name, function) != 0) {
      return false;
    }
    slot_ = slot;
    if (late != nullptr) {  // And no others, which the module may have to find in a test's bad circumstances.
      late->find();
    }
    return true;
  });
  if (slot_ == nullptr) {
    throw std::runtime_error(std::string("no such module or import: ") + function);
  }
  original_ = *slot_;
  original = original_;
  store(slot_, replacement);
}

import_patch::~import_patch() {
  const DWORD error = ::GetLastError();
  store(slot_, original_);
  ::SetLastError(error);
}

std::vector<std::string> imports_of(const char* module, const char* dll) {
  std::vector<std::string> names;
  const auto visit = [&](const char* name, const char* from, import_patch::any_function*, late_import* late) {
    if (late != nullptr) {
      late->find();
    }
    if (::lstrcmpiA(from, dll) == 0) {
      names.emplace_back(name);
    }
    return false;
  };
  find_import(::GetModuleHandleA(module), visit);
  return names;
}

}  // namespace test_support

#include "import_patch.hpp"

#include <cstring>
#include <string>

namespace test_support {
namespace {

// Restores the last error, which a destructor in the middle of a failing operation must not touch.
class last_error_keeper {
 public:
  last_error_keeper() = default;
  last_error_keeper(const last_error_keeper&) = delete;
  last_error_keeper& operator=(const last_error_keeper&) = delete;
  ~last_error_keeper() { ::SetLastError(error_); }

 private:
  DWORD error_ = ::GetLastError();
};

std::string describe(const char* module, const char* from, const char* function) {
  return std::string(module ? module : "the program") + " -> " + (from ? from : "any DLL") + "!" + function;
}

// The PE image of a loaded module: addresses in it are offsets from its base.
class loaded_image {
 public:
  explicit loaded_image(HMODULE module) : base_(reinterpret_cast<std::byte*>(module)) {}

  template <class T>
  T* at(std::uintptr_t offset) const {
    return reinterpret_cast<T*>(base_ + offset);
  }
  /// Null if the module imports nothing. The array ends with an entry whose name is 0.
  const IMAGE_IMPORT_DESCRIPTOR* imports() const {
    const auto& dos = *at<IMAGE_DOS_HEADER>(0);
    const auto& nt = *at<IMAGE_NT_HEADERS>(static_cast<std::uintptr_t>(dos.e_lfanew));
    const auto& directory = nt.OptionalHeader.DataDirectory[IMAGE_DIRECTORY_ENTRY_IMPORT];
    return directory.Size == 0 ? nullptr : at<IMAGE_IMPORT_DESCRIPTOR>(directory.VirtualAddress);
  }

 private:
  std::byte* base_;
};

// The words of the import table that hold `function`. The names are in a second table beside it, entry by entry.
std::vector<import_patch::any_function*> find_slots(const loaded_image& image, const char* from, const char* function) {
  std::vector<import_patch::any_function*> found;
  const IMAGE_IMPORT_DESCRIPTOR* dll = image.imports();
  for (; dll != nullptr && dll->Name != 0; ++dll) {
    if (dll->OriginalFirstThunk == 0 || (from != nullptr && ::lstrcmpiA(image.at<char>(dll->Name), from) != 0))
      continue;
    const auto* name = image.at<IMAGE_THUNK_DATA>(dll->OriginalFirstThunk);
    auto* address = image.at<import_patch::any_function>(dll->FirstThunk);
    for (; name->u1.AddressOfData != 0; ++name, ++address) {
      if (IMAGE_SNAP_BY_ORDINAL(name->u1.Ordinal))
        continue;
      const auto* import = image.at<IMAGE_IMPORT_BY_NAME>(name->u1.AddressOfData);
      if (std::strcmp(reinterpret_cast<const char*>(import->Name), function) == 0)
        found.push_back(address);
    }
  }
  return found;
}

// Import tables are read-only once the loader is done. The store is one aligned word: callers see the old or the new.
bool store(import_patch::any_function* address, import_patch::any_function value) {
  DWORD protection = 0;
  if (!::VirtualProtect(address, sizeof *address, PAGE_READWRITE, &protection))
    return false;
  ::InterlockedExchangePointer(reinterpret_cast<void**>(address), reinterpret_cast<void*>(value));
  ::VirtualProtect(address, sizeof *address, protection, &protection);
  return true;
}

}  // namespace

import_patch::import_patch(const char* module, const char* from, const char* function, any_function replacement,
                           untyped) {
  HMODULE loaded = nullptr;
  if (!::GetModuleHandleExA(0, module, &loaded))
    throw std::runtime_error("import_patch: module not loaded: " + describe(module, from, function));
  module_.reset(loaded);
  for (any_function* address : find_slots(loaded_image(loaded), from, function))
    slots_.push_back({address, *address});
  if (slots_.empty())
    throw std::runtime_error("import_patch: no such import: " + describe(module, from, function));
  for (const slot& each : slots_) {
    if (!store(each.address, replacement)) {
      restore();
      throw std::runtime_error("import_patch: import table not writable: " + describe(module, from, function));
    }
  }
}

import_patch::~import_patch() {
  const last_error_keeper keeper;
  restore();
  module_.reset();
}

void import_patch::restore() noexcept {
  for (const slot& each : slots_)
    store(each.address, each.original);
}

}  // namespace test_support

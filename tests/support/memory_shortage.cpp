#include "memory_shortage.hpp"

#include "import_patch.hpp"

#include <memory>
#include <vector>

namespace test_support {
namespace {

std::atomic<bool> memory_is_gone = false;
std::atomic<int> refused = 0;
std::atomic<import_patch::any_function> original = nullptr;

/// The run-time's own functions; the imports that stood for them are replaced.
template <class Function>
Function real(const char* name) {
  return reinterpret_cast<Function>(reinterpret_cast<void (*)()>(GetProcAddress(GetModuleHandleA("msvcrt.dll"), name)));
}
const auto real_malloc = real<void* (*)(std::size_t)>("malloc");
const auto real_calloc = real<void* (*)(std::size_t, std::size_t)>("calloc");
const auto real_realloc = real<void* (*)(void*, std::size_t)>("realloc");

void* try_malloc(std::size_t size) {
  return memory_is_gone ? ++refused, nullptr : real_malloc(size);
}
void* try_calloc(std::size_t count, std::size_t size) {
  return memory_is_gone ? ++refused, nullptr : real_calloc(count, size);
}
void* try_realloc(void* block, std::size_t size) {
  return memory_is_gone ? ++refused, nullptr : real_realloc(block, size);
}

}  // namespace

std::size_t take_memory_away() {
  const std::pair<const char*, import_patch::any_function> functions[] = {
      {"malloc", reinterpret_cast<import_patch::any_function>(try_malloc)},
      {"calloc", reinterpret_cast<import_patch::any_function>(try_calloc)},
      {"realloc", reinterpret_cast<import_patch::any_function>(try_realloc)}};
  static std::vector<std::unique_ptr<import_patch>> patches;
  for (const char* const module :
       {"libqxfl.dll", "libqxfoundation_conc_common.dll", "libqxfoundation_log.dll", "libgcc_s_seh-1.dll",
        "libwinpthread-1.dll", "libstdc++-6.dll", static_cast<const char*>(nullptr)})
    for (const auto& [name, replacement] : functions) {
      try {
        patches.push_back(std::make_unique<import_patch>(module, name, replacement, original));
      } catch (const std::runtime_error&) {
        // This module does not use this function.
      }
    }
  memory_is_gone = true;
  return patches.size();
}

void give_memory_back() {
  memory_is_gone = false;
}

int take_refused_allocations() {
  return refused.exchange(0);
}

}  // namespace test_support

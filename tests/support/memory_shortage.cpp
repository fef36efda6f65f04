#include "memory_shortage.hpp"

#include "import_patch.hpp"

#include <stdexcept>

namespace test_support {
namespace {

std::atomic<bool> memory_is_gone = false;
std::atomic<int> refused = 0;

/// Refuses what malloc, calloc or realloc is asked for, which their parameters tell apart. Returns 1 if the module uses
/// the function, or else 0.
template <class... Arguments>
std::size_t patch(const char* module, const char* function) {
  static constinit std::atomic<import_patch::any_function> original = nullptr;
  const auto allocate = [](Arguments... arguments) {
    const auto real = reinterpret_cast<void* (*)(Arguments...)>(original.load());
    return memory_is_gone ? ++refused, nullptr : real(arguments...);
  };
  try {
    new import_patch(module, function, reinterpret_cast<import_patch::any_function>(+allocate), original);
    return 1;
  } catch (const std::runtime_error&) {
    return 0;
  }
}

}  // namespace

std::size_t take_memory_away() {
  std::size_t patched = 0;
  for (const char* const module :
       {"libqxfl.dll", "libqxfoundation_conc_common.dll", "libqxfoundation_log.dll", "libqxkit.dll",
        "libgcc_s_seh-1.dll", "libwinpthread-1.dll", "libstdc++-6.dll", static_cast<const char*>(nullptr)}) {
    patched += patch<std::size_t>(module, "malloc");
    patched += patch<std::size_t, std::size_t>(module, "calloc");
    patched += patch<void*, std::size_t>(module, "realloc");
  }
  memory_is_gone = true;
  void* const volatile given = std::malloc(1);  // Volatile, or a compiler may take it that one byte can always be had.
  refused = 0;
  return given == nullptr ? patched : 0;
}

void give_memory_back() {
  memory_is_gone = false;
}

int take_refused_allocations() {
  return refused.exchange(0);
}

}  // namespace test_support

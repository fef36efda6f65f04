#include "memory_shortage.hpp"

#include "import_patch.hpp"

#include <stdexcept>

namespace test_support {
namespace {

std::atomic<bool> memory_is_gone = false;
std::atomic<int> refused = 0;
/// Takes the place of malloc, calloc or realloc, which their parameters tell apart.
template <class... Arguments>
struct shortage {
  static constinit inline std::atomic<import_patch::any_function> original = nullptr;

  static void* allocate(Arguments... arguments) {
    using function = void* (*)(Arguments...);
    return memory_is_gone ? ++refused, nullptr : reinterpret_cast<function>(original.load())(arguments...);
  }
  /// For good. Returns 1 if the module uses the function, or else 0.
  static std::size_t patch(const char* module, const char* function) {
    try {
      new import_patch(module, function, reinterpret_cast<import_patch::any_function>(&allocate), original);
      return 1;
    } catch (const std::runtime_error&) {
      return 0;
    }
  }
};

}  // namespace

std::size_t take_memory_away() {
  std::size_t patched = 0;
  for (const char* const module :
       {"libqxfl.dll", "libqxfoundation_conc_common.dll", "libqxfoundation_log.dll", "libgcc_s_seh-1.dll",
        "libwinpthread-1.dll", "libstdc++-6.dll", static_cast<const char*>(nullptr)}) {
    patched += shortage<std::size_t>::patch(module, "malloc");
    patched += shortage<std::size_t, std::size_t>::patch(module, "calloc");
    patched += shortage<void*, std::size_t>::patch(module, "realloc");
  }
  memory_is_gone = true;
  return patched;
}

void give_memory_back() {
  memory_is_gone = false;
}

int take_refused_allocations() {
  return refused.exchange(0);
}

}  // namespace test_support

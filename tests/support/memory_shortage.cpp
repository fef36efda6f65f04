#include "memory_shortage.hpp"

#include "import_patch.hpp"

#include <cstdlib>
#include <memory>
#include <vector>

namespace test_support {
namespace {

std::atomic<bool> memory_is_gone = false;
std::atomic<int> refused = 0;
/// What the imports called before: the functions of the run-time that the program uses, of which there are two kinds.
std::atomic<import_patch::any_function> real_malloc, real_calloc, real_realloc;

void* try_malloc(std::size_t size) {
  return memory_is_gone ? ++refused, nullptr : reinterpret_cast<decltype(&std::malloc)>(real_malloc.load())(size);
}
void* try_calloc(std::size_t count, std::size_t size) {
  return memory_is_gone ? ++refused,
         nullptr        : reinterpret_cast<decltype(&std::calloc)>(real_calloc.load())(count, size);
}
void* try_realloc(void* block, std::size_t size) {
  return memory_is_gone ? ++refused,
         nullptr        : reinterpret_cast<decltype(&std::realloc)>(real_realloc.load())(block, size);
}

}  // namespace

std::size_t take_memory_away() {
  const struct {
    const char* name;
    import_patch::any_function replacement;
    std::atomic<import_patch::any_function>& original;
  } functions[] = {{"malloc", reinterpret_cast<import_patch::any_function>(try_malloc), real_malloc},
                   {"calloc", reinterpret_cast<import_patch::any_function>(try_calloc), real_calloc},
                   {"realloc", reinterpret_cast<import_patch::any_function>(try_realloc), real_realloc}};
  static std::vector<std::unique_ptr<import_patch>> patches;
  for (const char* const module :
       {"libqxfl.dll", "libqxfoundation_conc_common.dll", "libqxfoundation_log.dll", "libgcc_s_seh-1.dll",
        "libwinpthread-1.dll", "libstdc++-6.dll", static_cast<const char*>(nullptr)}) {
    for (const auto& [name, replacement, original] : functions) {
      try {
        patches.push_back(std::make_unique<import_patch>(module, name, replacement, original));
      } catch (const std::runtime_error&) {
        // This module does not use this function.
      }
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

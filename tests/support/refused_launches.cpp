// Wine 8 refuses about one launch in three thousand with ERROR_INTERNAL_ERROR: a child with a pipe as its output ends
// before it has begun. Loops of bare system calls show it as well as every library does. The call is made again where
// it was made, through the import table, so that whoever made it sees one call.
#include "refused_launches.hpp"

#include "import_patch.hpp"

namespace test_support {
namespace {

constexpr int most_tries = 4;

template <class Function>
struct retried;

template <class... Arguments>
struct retried<BOOL (*)(Arguments...)> {
  static inline std::atomic<import_patch::any_function> original;

  static BOOL create(Arguments... arguments) {
    for (int tries = 1;; ++tries) {
      if (reinterpret_cast<BOOL (*)(Arguments...)>(original.load())(arguments...)) {
        return TRUE;
      }
      if (::GetLastError() != ERROR_INTERNAL_ERROR || tries == most_tries) {
        return FALSE;
      }
    }
  }
};

template <class Function>
void patch_for_good(const char* module, const char* name) {
  try {
    new import_patch(module, name, reinterpret_cast<import_patch::any_function>(&retried<Function>::create),
                     retried<Function>::original);
  } catch (const std::runtime_error&) {
    // This module is not part of the program, or starts nothing.
  }
}

}  // namespace

void retry_launches_that_wine_refuses() {
  patch_for_good<decltype(&::CreateProcessW)>(nullptr, "CreateProcessW");
  patch_for_good<decltype(&::CreateProcessW)>("libqxfl.dll", "CreateProcessW");
  patch_for_good<decltype(&::CreateProcessA)>(nullptr, "CreateProcessA");  // by EXPECT_EXIT
}

}  // namespace test_support

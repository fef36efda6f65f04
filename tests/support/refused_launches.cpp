// Wine 8 refuses about one launch in three thousand with ERROR_INTERNAL_ERROR: a child with a pipe as its output ends
// before it has begun. Loops of bare system calls show it as well as every library does. The call is made again where
// it was made, through the import table, so that whoever made it sees one call.
#include "refused_launches.hpp"

#include "import_patch.hpp"

namespace test_support {
namespace {

using create_process = decltype(&::CreateProcessW);

constexpr int most_tries = 4;
std::atomic<import_patch::any_function> real_create_process;

template <class... Arguments>
BOOL create_process_again(Arguments... arguments) {
  const auto create = reinterpret_cast<create_process>(real_create_process.load());
  for (int tries = 1;; ++tries) {
    if (create(arguments...)) {
      return TRUE;
    }
    if (::GetLastError() != ERROR_INTERNAL_ERROR || tries == most_tries) {
      return FALSE;
    }
  }
}

void patch_for_good(const char* module) {
  const create_process again = &create_process_again;
  try {
    new import_patch(module, "CreateProcessW", reinterpret_cast<import_patch::any_function>(again),
                     real_create_process);
  } catch (const std::runtime_error&) {
    // This module is not part of the program, or starts nothing.
  }
}

}  // namespace

void retry_launches_that_wine_refuses() {
  patch_for_good(nullptr);
  patch_for_good("libqxfl.dll");
}

}  // namespace test_support

// Wine 8 refuses about one launch in three thousand with ERROR_INTERNAL_ERROR: a child with a pipe as its output ends
// before it has begun. Loops of bare system calls show it as well as every library does. The call is made again where
// it was made, through the import table, so that whoever made it sees one call.
#include "refused_launches.hpp"

#include "import_patch.hpp"

#include <stdexcept>

namespace test_support {

namespace {

using create_process = decltype(&::CreateProcessW);

constexpr int most_tries = 4;
create_process real_create_process = nullptr;  // set before the patch is in place

BOOL WINAPI create_process_again(LPCWSTR program, LPWSTR command_line, LPSECURITY_ATTRIBUTES process,
                                 LPSECURITY_ATTRIBUTES thread, BOOL inherit, DWORD flags, LPVOID environment,
                                 LPCWSTR directory, LPSTARTUPINFOW startup, LPPROCESS_INFORMATION info) {
  for (int tries = 1;; ++tries) {
    if (real_create_process(program, command_line, process, thread, inherit, flags, environment, directory, startup,
                            info))
      return TRUE;
    if (::GetLastError() != ERROR_INTERNAL_ERROR || tries == most_tries)
      return FALSE;
  }
}

void patch_for_good(const char* module) {
  try {
    new import_patch(module, nullptr, "CreateProcessW", &create_process_again);
  } catch (const std::runtime_error&) {
    // This module is not part of the program, or starts nothing.
  }
}

}  // namespace

void retry_launches_that_wine_refuses() {
  real_create_process = reinterpret_cast<create_process>(
      reinterpret_cast<void*>(::GetProcAddress(::GetModuleHandleW(L"kernel32.dll"), "CreateProcessW")));
  patch_for_good(nullptr);
  patch_for_good("libqxfl.dll");
}

}  // namespace test_support

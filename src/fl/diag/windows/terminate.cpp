// The final stage of a termination, and the run-time's switches for it.
#include "common/windows/procedure.hpp"
#include "diag/final_stage.hpp"

#include <windows.h>

#include <cassert>
#include <cstddef>
#include <cstdio>
#include <cstdlib>
#include <cwchar>

namespace foundation::core::diag {

namespace {

constexpr const wchar_t* this_file = L"src/fl/diag/windows/terminate";

/// The line that the failure below shows. Readers look for this number: it stays, whatever line the check stands on.
constexpr unsigned shown_line_of_check = 41;

/// Ends the process if the formatting of a text has failed, because it was too long.
void check_length(int length) noexcept {
  if (length < 0) {
    _wassert(L"len >= 0", this_file, shown_line_of_check);
  }
}

/// Not all run-times of this system have the function.
using set_abort_behavior = unsigned(__cdecl*)(unsigned flags, unsigned mask);

set_abort_behavior find_set_abort_behavior() noexcept {
#ifdef _UCRT
  return _set_abort_behavior;
#else
  return sysdep::windows::find_procedure<set_abort_behavior>(GetModuleHandleW(L"msvcrt.dll"), "_set_abort_behavior");
#endif
}

}  // namespace

void final_stage(const char* message, const char* file, int line, const char* function) noexcept {
  constexpr std::size_t longest_text = 4095;
  constexpr std::size_t longest_path = 260;
  wchar_t text[longest_text + 1] = {};
  wchar_t path[longest_path + 1] = {};
  check_length(_snwprintf(text, longest_text, L"%S\n\nFunction: %S", message, function));
  check_length(_snwprintf(path, longest_path, L"%S", file));
  _wassert(text, path, static_cast<unsigned>(line));
  // A user can have chosen to ignore the dialog. The process must not go on all the same.
  for (;;) {
    __debugbreak();
  }
}

void write_failures_to_standard_error() noexcept {
  _set_error_mode(_OUT_TO_STDERR);
  constexpr unsigned write_message = 1, call_fault_reporter = 2;
  if (const auto set = find_set_abort_behavior()) {
    set(write_message | call_fault_reporter, write_message | call_fault_reporter);
  }
}

}  // namespace foundation::core::diag

#include "command/status_words.hpp"

#include <algorithm>
#include <iterator>

namespace foundation::kit {

namespace {

struct known_code {
  std::uint32_t code;
  const char* words;
};

// Ascending. Status codes of the system, and the exceptions that run-time libraries raise.
constexpr known_code known_codes[] = {
    {0x00000000, "success"},
    {0x20474343, "uncaught C++ exception"},  // the GNU run-time's: thrown, unwinding by force, caught too late
    {0x21474343, "forced unwinding of a C++ stack"},
    {0x22474343, "C++ exception without a handler"},
    {0x40000015, "fatal application exit"},
    {0x4000001F, "breakpoint in a 32-bit program"},
    {0x40010004, "terminated by the debugger"},
    {0x40010005, "interrupted by Ctrl-C under a debugger"},
    {0x80000001, "guard page violation"},
    {0x80000002, "misaligned memory access"},
    {0x80000003, "breakpoint"},
    {0x80000004, "single step"},
    {0x80131506, "fatal error of the managed run-time"},
    {0x80131623, "fail fast of managed code"},
    {0xC0000001, "unsuccessful operation"},
    {0xC0000005, "access violation"},
    {0xC0000006, "a page could not be read in"},
    {0xC0000008, "invalid handle"},
    {0xC000000D, "invalid parameter"},
    {0xC0000017, "out of memory"},
    {0xC000001C, "invalid system call"},
    {0xC000001D, "illegal instruction"},
    {0xC0000022, "access denied"},
    {0xC0000025, "exception that cannot be continued from"},
    {0xC0000026, "invalid answer of an exception handler"},
    {0xC0000044, "quota exceeded"},
    {0xC000007A, "a procedure was not found"},
    {0xC000007B, "damaged program or DLL, or one for another processor"},
    {0xC000008C, "array bounds exceeded"},
    {0xC000008D, "floating-point denormal operand"},
    {0xC000008E, "floating-point division by zero"},
    {0xC000008F, "inexact floating-point result"},
    {0xC0000090, "invalid floating-point operation"},
    {0xC0000091, "floating-point overflow"},
    {0xC0000092, "floating-point stack fault"},
    {0xC0000093, "floating-point underflow"},
    {0xC0000094, "integer division by zero"},
    {0xC0000095, "integer overflow"},
    {0xC0000096, "privileged instruction"},
    {0xC000009A, "insufficient system resources"},
    {0xC00000FD, "stack overflow"},
    {0xC000010A, "the process was already ending"},
    {0xC000012D, "out of memory and of paging file"},
    {0xC0000135, "a DLL was not found"},
    {0xC0000138, "a DLL lacks a function (by its number)"},
    {0xC0000139, "a DLL lacks a function (entry point not found)"},
    {0xC000013A, "interrupted by Ctrl-C"},
    {0xC0000142, "a DLL failed to initialise"},
    {0xC0000144, "unhandled exception"},
    {0xC0000145, "the application failed to initialise"},
    {0xC000014B, "broken pipe"},
    {0xC0000194, "possible deadlock"},
    {0xC000026B, "a DLL failed to initialise: the session is ending"},
    {0xC00002B4, "several floating-point faults"},
    {0xC00002B5, "several floating-point traps"},
    {0xC0000361, "blocked by a policy"},
    {0xC0000362, "blocked by a policy for its path"},
    {0xC0000363, "blocked by a policy for its publisher"},
    {0xC0000364, "blocked by a rule of a policy"},
    {0xC0000374, "heap corruption"},
    {0xC0000409, "stack buffer overrun or fail fast"},
    {0xC0000417, "invalid argument to the C run-time"},
    {0xC000041D, "unhandled exception in a callback from the system"},
    {0xC0000420, "assertion failure"},
    {0xC0000428, "a program or DLL has no valid signature"},
    {0xC0000602, "fail fast"},
    {0xC0000604, "dynamic code is blocked"},
    {0xC0000606, "control flow violation"},
    {0xC06D007E, "a DLL that is loaded late was not found"},
    {0xC06D007F, "a DLL that is loaded late lacks a function"},
    {0xCFFFFFFF, "ended because it did not respond"},
    {0xE0434352, "uncaught exception of managed code"},
    {0xE0434F4D, "uncaught exception of managed code (old run-time)"},
    {0xE06D7363, "uncaught C++ exception"},
};

constexpr bool strictly_ascending() {
  for (std::size_t i = 1; i < std::size(known_codes); ++i) {
    if (known_codes[i - 1].code >= known_codes[i].code) {
      return false;
    }
  }
  return true;
}
static_assert(strictly_ascending(), "the search goes by it");

}  // namespace

const char* status_words(std::uint32_t code) noexcept {
  const known_code* const found =
      std::lower_bound(std::begin(known_codes), std::end(known_codes), code,
                       [](const known_code& row, std::uint32_t sought) { return row.code < sought; });
  return found != std::end(known_codes) && found->code == code ? found->words : nullptr;
}

}  // namespace foundation::kit

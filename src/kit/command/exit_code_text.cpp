#include <kit/exit_code_text.hpp>

#include <algorithm>
#include <cstdio>
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

constexpr std::uint32_t still_active = 259;           // STILL_ACTIVE
constexpr std::uint32_t least_negative = 0xFFFF0000;  // -65536: what a program returns, rather than a status code
constexpr std::uint32_t error_bits = 0xC0000000;      // the severity of a status code, and one bit for whose it is
constexpr std::uint32_t warning_bit = 0x80000000;
constexpr std::uint32_t customer_bit = 0x20000000;

const char* find_words(std::uint32_t code) {
  const known_code* const found =
      std::lower_bound(std::begin(known_codes), std::end(known_codes), code,
                       [](const known_code& row, std::uint32_t sought) { return row.code < sought; });
  return found != std::end(known_codes) && found->code == code ? found->words : nullptr;
}

std::string hexadecimal(std::uint32_t code) {
  char text[11];
  std::snprintf(text, sizeof text, "0x%08X", static_cast<unsigned>(code));
  return text;
}

std::string text_by_severity(std::uint32_t code) {
  if ((code & customer_bit) != 0) {
    return "program-defined exception " + hexadecimal(code);
  }
  return ((code & error_bits) == error_bits ? "system error " : "failure or warning ") + hexadecimal(code);
}

std::string text_of(const process::unknown&) {
  return "still running, or exit status 259";
}
std::string text_of(const process::exited& end) {
  return exit_code_text(end.exit_code);
}
std::string text_of(const process::signaled& end) {
  return "ended by signal " + std::to_string(end.signal);
}

}  // namespace

std::string exit_code_text(std::uint32_t code) {
  if (const char* const words = find_words(code)) {
    return code == 0 ? words : words + (" (" + hexadecimal(code) + ")");
  }
  if (code == still_active) {
    return "exit status 259, which looks like a child that still runs";
  }
  if (code >= least_negative) {
    return "exit status " + std::to_string(static_cast<std::int32_t>(code));
  }
  return (code & warning_bit) != 0 ? text_by_severity(code) : "exit status " + std::to_string(code);
}

std::string exit_code_text(const process::exit_status_variant& status) {
  return std::visit([](const auto& alternative) { return text_of(alternative); }, status);
}

}  // namespace foundation::kit

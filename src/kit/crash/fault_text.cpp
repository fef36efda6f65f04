#include "crash/fault_text.hpp"

namespace foundation::kit {

namespace {

constexpr std::uint32_t access_violation = 0xC0000005, in_page_error = 0xC0000006;
constexpr std::uint64_t read = 0, write = 1, execute = 8;  // what a parameter of the two says

const char* words_for(std::uint32_t code) noexcept {
  switch (code) {
    case 0x80000001:
      return "guard page violation";
    case 0x80000002:
      return "misaligned memory access";
    case 0x80000003:
      return "breakpoint";
    case 0x80000004:
      return "single step";
    case access_violation:
      return "access violation";
    case in_page_error:
      return "a page could not be read in";
    case 0xC0000008:
      return "invalid handle";
    case 0xC000001D:
      return "illegal instruction";
    case 0xC0000025:
      return "exception that cannot be continued from";
    case 0xC0000026:
      return "invalid answer of an exception handler";
    case 0xC000008C:
      return "array bounds exceeded";
    case 0xC000008D:
      return "floating-point denormal operand";
    case 0xC000008E:
      return "floating-point division by zero";
    case 0xC000008F:
      return "inexact floating-point result";
    case 0xC0000090:
      return "invalid floating-point operation";
    case 0xC0000091:
      return "floating-point overflow";
    case 0xC0000092:
      return "floating-point stack fault";
    case 0xC0000093:
      return "floating-point underflow";
    case 0xC0000094:
      return "integer division by zero";
    case 0xC0000095:
      return "integer overflow";
    case 0xC0000096:
      return "privileged instruction";
    case 0xC00000FD:
      return "stack overflow";
    case 0xC0000374:
      return "heap corruption";
    case 0xC0000420:
      return "assertion failure";
    case 0xC06D007E:
      return "a DLL that is loaded late was not found";
    case 0xC06D007F:
      return "a DLL that is loaded late lacks a function";
    case 0xE0434352:
      return "uncaught exception of managed code";
    case 0xE06D7363:
      return "uncaught C++ exception of another compiler";
    default:
      return nullptr;
  }
}

const char* words_for_access(std::uint64_t access) noexcept {
  switch (access) {
    case read:
      return " reading";
    case write:
      return " writing";
    case execute:
      return " executing";
    default:
      return " at";
  }
}

}  // namespace

void put_fault(text_line& line, const fault& fault) noexcept {
  const char* const words = words_for(fault.code);
  if (words == nullptr) {
    line.put("exception ").hexadecimal(fault.code, 8);
    return;
  }
  line.put(words).put(" (").hexadecimal(fault.code, 8).put(')');
  if ((fault.code == access_violation || fault.code == in_page_error) && fault.parameter_count >= 2) {
    line.put(words_for_access(fault.parameters[0])).put(" address ").hexadecimal(fault.parameters[1], 16);
  }
  if (fault.code == access_violation && fault.parameter_count >= 2 && fault.parameters[0] == execute &&
      fault.parameters[1] == 0) {
    // The latter, too: a program that links no other part of the run-time's handling of it has nothing in its place.
    line.put(": a null pointer to a function was called, or a pure virtual function");
  }
  if (fault.code == in_page_error && fault.parameter_count >= 3) {
    line.put(", status ").hexadecimal(fault.parameters[2] & 0xFFFFFFFF, 8);
  }
}

}  // namespace foundation::kit

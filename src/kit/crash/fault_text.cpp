#include "crash/fault_text.hpp"

#include "command/status_words.hpp"

namespace foundation::kit {

namespace {

constexpr std::uint32_t access_violation = 0xC0000005, in_page_error = 0xC0000006;
constexpr std::uint64_t read = 0, write = 1, execute = 8;  // what a parameter of the two says

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
  const char* const words = fault.code == 0 ? nullptr : status_words(fault.code);
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

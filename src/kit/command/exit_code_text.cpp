#include "command/status_words.hpp"

#include <kit/exit_code_text.hpp>

#include <cstdio>

namespace foundation::kit {

namespace {

constexpr std::uint32_t still_active = 259;           // STILL_ACTIVE
constexpr std::uint32_t least_negative = 0xFFFF0000;  // -65536: what a program returns, rather than a status code
constexpr std::uint32_t error_bits = 0xC0000000;      // the severity of a status code, and one bit for whose it is
constexpr std::uint32_t warning_bit = 0x80000000;
constexpr std::uint32_t customer_bit = 0x20000000;

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
  if (const char* const words = status_words(code)) {
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

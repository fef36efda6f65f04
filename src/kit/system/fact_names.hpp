// Names for numbers by which the system tells facts about a process. They are documented, so nothing of the system is
// needed to read them.
#pragma once

#include <cstdint>
#include <optional>

namespace foundation::kit::detail {

/// What is 64-bit x86 among the numbers of machines.
inline constexpr std::uint16_t machine_x86_64 = 0x8664;

/// Null for a number that has no name here.
inline const char* machine_name(std::uint16_t machine) noexcept {
  switch (machine) {
    case machine_x86_64:
      return "x86-64";
    case 0xAA64:
      return "ARM64";
    case 0x014C:
      return "x86";
    default:
      return nullptr;
  }
}

/// Null for a number that has no name here.
inline const char* priority_name(std::uint32_t priority_class) noexcept {
  switch (priority_class) {
    case 0x40:
      return "idle";
    case 0x4000:
      return "below normal";
    case 0x20:
      return "normal";
    case 0x8000:
      return "above normal";
    case 0x80:
      return "high";
    case 0x100:
      return "realtime";
    default:
      return nullptr;
  }
}

/// `level` is the last number of the identifier of an integrity level. Each name holds up to the next one.
inline const char* integrity_name(std::uint32_t level) noexcept {
  return level >= 0x5000   ? "protected"
         : level >= 0x4000 ? "system"
         : level >= 0x3000 ? "high"
         : level >= 0x2100 ? "medium plus"
         : level >= 0x2000 ? "medium"
         : level >= 0x1000 ? "low"
                           : "untrusted";
}

}  // namespace foundation::kit::detail

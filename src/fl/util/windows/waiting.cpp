#include "util/waiting.hpp"

#include <windows.h>

namespace foundation::core::util {

void wait_turn(unsigned turn) noexcept {
  if (turn < short_turns) {
    SwitchToThread();
  } else {
    Sleep(1);
  }
}

std::uint64_t milliseconds_passed() noexcept {
  return GetTickCount64();
}

}  // namespace foundation::core::util

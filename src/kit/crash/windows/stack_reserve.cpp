#include "crash/windows/stack_reserve.hpp"

#include <windows.h>

#include <algorithm>
#include <atomic>
#include <limits>

namespace foundation::kit {

namespace {

constinit std::atomic<ULONG> reserve{0};  ///< bytes

}  // namespace

void set_stack_reserve(std::size_t bytes) noexcept {
  reserve = static_cast<ULONG>(std::min<std::size_t>(bytes, std::numeric_limits<ULONG>::max()));
  reserve_stack();
}

bool reserve_stack() noexcept {
  ULONG bytes = reserve;
  return bytes != 0 && SetThreadStackGuarantee(&bytes);
}

}  // namespace foundation::kit

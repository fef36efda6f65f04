#include "crash/windows/stack_reserve.hpp"

#include <windows.h>

#include <atomic>

namespace foundation::kit {

namespace {

constinit std::atomic<ULONG> reserve{0};  ///< bytes

}  // namespace

void set_stack_reserve(std::size_t bytes) noexcept {
  reserve = static_cast<ULONG>(bytes);
  reserve_stack();
}

bool reserve_stack() noexcept {
  ULONG bytes = reserve;
  return bytes != 0 && SetThreadStackGuarantee(&bytes);
}

}  // namespace foundation::kit

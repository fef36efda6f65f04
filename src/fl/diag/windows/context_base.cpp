#include <fl/diag/context_base.hpp>

#include "diag/report/register_block.hpp"
#include "diag/windows/unwind.hpp"

#include <windows.h>

#include <cstring>

namespace foundation::core::diag::windows {

namespace {

/// Follows `state` through the returns of the functions that it is in, up to the one to `return_address`. False if it
/// does not get there.
bool leave_to(DWORD64 return_address, CONTEXT& state) noexcept {
  constexpr int most_frames = 4;  // There are two of ours.
  for (int frame = 0; frame < most_frames && state.Rip != return_address && state.Rip != 0; ++frame) {
    leave_function(state);
  }
  return state.Rip == return_address;
}

}  // namespace

bool context_base::capture_data(const void* return_address) noexcept {
  static_assert(sizeof(CONTEXT) == record_size && alignof(CONTEXT) <= 16);
  RtlCaptureContext(record());
  CONTEXT outer = *record();
  if (leave_to(reinterpret_cast<DWORD64>(return_address), outer)) {
    *record() = outer;
  }
  return true;
}

bool context_base::set_data(const EXCEPTION_POINTERS* pointers) noexcept {
  if (pointers->ContextRecord == nullptr) {
    return false;
  }
  // Through a copy of its own: the record may lie in this very object.
  const CONTEXT source = *pointers->ContextRecord;
  *record() = source;
  return true;
}

bool context_base::compare_data(const context_base& other) const noexcept {
  return std::memcmp(data_, other.data_, record_size) == 0;
}

std::ostream& context_base::format_data(std::ostream& os) const {
  const CONTEXT& c = *get_data();
  write_register_block(os, {c.Rax, c.Rbx, c.Rcx, c.Rdx, c.Rsp, c.Rbp, c.Rsi,    c.Rdi,   c.R8,    c.R9,   c.R10,
                            c.R11, c.R12, c.R13, c.R14, c.R15, c.Rip, c.EFlags, c.SegCs, c.SegFs, c.SegGs});
  return os;
}

}  // namespace foundation::core::diag::windows

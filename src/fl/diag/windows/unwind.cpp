#include "diag/windows/unwind.hpp"

namespace foundation::core::diag {

void leave_function(CONTEXT& state) noexcept {
  DWORD64 image = 0;
  if (const auto function = RtlLookupFunctionEntry(state.Rip, &image, nullptr)) {
    void* handler_data = nullptr;
    DWORD64 establisher = 0;
    RtlVirtualUnwind(UNW_FLAG_NHANDLER, image, state.Rip, function, &state, &handler_data, &establisher, nullptr);
    return;
  }
  // One that calls nothing, or none at all: there is only the return address.
  state.Rip = *reinterpret_cast<const DWORD64*>(state.Rsp);
  state.Rsp += sizeof(DWORD64);
}

}  // namespace foundation::core::diag

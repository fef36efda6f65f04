#include "mem/crt_heap_tuning.hpp"

#include <windows.h>
#include <malloc.h>

namespace foundation::core::sysdep::windows {

namespace {

void select_low_fragmentation(HANDLE heap) {
  constexpr ULONG low_fragmentation = 2;
  ULONG kind = 0;
  if (!HeapQueryInformation(heap, HeapCompatibilityInformation, &kind, sizeof kind, nullptr) ||
      kind == low_fragmentation) {
    return;
  }
  kind = low_fragmentation;
  HeapSetInformation(heap, HeapCompatibilityInformation, &kind, sizeof kind);
}

}  // namespace

crt_heap_tuning::crt_heap_tuning(bool terminate_on_corruption) : heap_(reinterpret_cast<HANDLE>(_get_heap_handle())) {
  select_low_fragmentation(heap_);
  if (terminate_on_corruption) {
    HeapSetInformation(heap_, HeapEnableTerminationOnCorruption, nullptr, 0);
  }
}

}  // namespace foundation::core::sysdep::windows

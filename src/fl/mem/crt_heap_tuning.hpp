// What the manager asks of the heap under the C run-time's malloc. Implemented in windows/crt_heap_tuning.cpp.
#pragma once

namespace foundation::core::sysdep::windows {

/// The settings stay when the object goes.
class crt_heap_tuning {
 public:
  /// Selects the low-fragmentation heap, and on request lets the system end the process when it finds the heap corrupt.
  /// What the system refuses stays as it is.
  explicit crt_heap_tuning(bool terminate_on_corruption);

 private:
  [[maybe_unused]] void* heap_;  ///< Belongs to the C run-time.
};

}  // namespace foundation::core::sysdep::windows

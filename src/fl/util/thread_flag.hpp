// A flag of each thread, false at first, that can be read without allocating.
#pragma once

#include "util/thread_slot.hpp"

namespace foundation::core::util {

/// Never destroyed. Any thread.
class thread_flag {
 public:
  /// The calling thread's flag.
  bool get() const noexcept { return slot_.get() != nullptr; }
  /// Throws `std::bad_alloc` if the system has no room for it.
  void set(bool value) { slot_.set(value ? this : nullptr); }

 private:
  thread_slot slot_;
};

}  // namespace foundation::core::util

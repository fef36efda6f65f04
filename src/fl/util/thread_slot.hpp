// A pointer of each thread, null at first, that can be read without allocating. The language's own thread-local
// variables cannot here: the compiler allocates them when a thread first touches them.
#pragma once

namespace foundation::core::util {

/// Never destroyed. Any thread.
class thread_slot {
 public:
  thread_slot() noexcept;
  thread_slot(const thread_slot&) = delete;
  thread_slot& operator=(const thread_slot&) = delete;

  /// The calling thread's pointer.
  void* get() const noexcept;
  /// Throws `std::bad_alloc` if the system has no room for it.
  void set(void* value);

 private:
  unsigned long index_;  ///< The system's number of the slot.
};

}  // namespace foundation::core::util

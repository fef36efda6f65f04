// A flag of each thread, false at first, that can be read without allocating. The language's own thread-local variables
// cannot here: the compiler allocates them when a thread first touches them.
#pragma once

namespace foundation::core::util {

/// Never destroyed. Any thread.
class thread_flag {
 public:
  thread_flag() noexcept;
  thread_flag(const thread_flag&) = delete;
  thread_flag& operator=(const thread_flag&) = delete;

  /// The calling thread's flag.
  bool get() const noexcept;
  /// Throws `std::bad_alloc` if the system has no room for it.
  void set(bool value);

 private:
  unsigned long index_;  ///< The system's number of the flag.
};

}  // namespace foundation::core::util

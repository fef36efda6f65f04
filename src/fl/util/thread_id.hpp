// Threads by their numbers. Nothing here allocates or waits.
#pragma once

namespace foundation::core::util {

unsigned long current_thread_id() noexcept;

/// Whether the thread is suspended at this moment, or there is none of that number. One that waits, for whatever, goes
/// on. A debugger or a profiler may suspend a healthy thread for a moment, and so does this function, when two threads
/// ask for the same one: ask again.
bool is_stopped(unsigned long thread) noexcept;

/// Whether both addresses lie in the stack of one thread.
bool on_same_stack(const void* a, const void* b) noexcept;

}  // namespace foundation::core::util

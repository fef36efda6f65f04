// The system calls that the reaper needs, in plain values: everything else about it is logic that compiles everywhere.
// `windows/child/process_reaper_impl.cpp` implements them; the sanitizer build puts a scripted pool in their place.
// Handles belong to the caller and cross as void*. Threads: any.
#pragma once

namespace foundation::core::sysdep::windows {

/// What the system's pool calls on a thread of its own, with the context of the registration. The other argument is
/// without meaning: these waits have no time-out.
using end_callback = void (*)(void* context, unsigned char timed_out);

/// Before the first registration: keeps the code of callbacks in the process.
void prepare_callbacks() noexcept;

/// Has `callback` called once when the process behind `process` ends, at once if it has ended: perhaps before this
/// returns. Returns the registration, which the caller ends by one of the following two. Throws
/// boost::system::system_error "RegisterWaitForSingleObject".
void* register_wait(void* process, end_callback callback, void* context);

/// Ends a registration. Waits for its callback if that has begun; afterwards it does not run any more.
void unregister_wait(void* wait) noexcept;

/// The same on the thread of the callback itself, for which it does not wait.
void unregister_wait_in_callback(void* wait) noexcept;

void close_process_handle(void* process) noexcept;

}  // namespace foundation::core::sysdep::windows

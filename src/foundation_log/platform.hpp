// What the log needs of the operating system.
//
// Thread safety: every function may be called from every thread. Except where said, nothing here throws.
#pragma once

#include "record_format.hpp"

#include <mutex>
#include <optional>
#include <string>
#include <string_view>

namespace foundation::log::platform {

/// The value as UTF-8, or nothing if the variable is not set. `name` is ASCII. Throws `std::bad_alloc`.
std::optional<std::string> environment_variable(const char* name);

calendar_time local_time() noexcept;
unsigned long process_id() noexcept;
unsigned long thread_id() noexcept;

/// A number of the calling thread's own, 0 at first. Asking takes no memory; a `thread_local` does in this run-time, at
/// a thread's first access, and ends the process if there is none. What cannot be set is left as it is.
unsigned thread_depth() noexcept;
void set_thread_depth(unsigned depth) noexcept;

/// Whether the process is being torn down: the other threads have been ended where they stood, maybe with locks held.
bool process_is_ending() noexcept;

/// Keeps this library loaded until the process ends.
void stay_loaded() noexcept;

/// Opens a file to be written at its end only, making it if it is missing. The path is UTF-8. On a failure returns null
/// and gives the system's reason. Throws `std::bad_alloc`.
void* open_for_append(const std::string& path, std::string& reason);

/// Closes what `open_for_append` has opened.
void close_file(void* file) noexcept;

/// Adds the text to the file with a single call, while no other process does so. What cannot be written is lost.
void append(void* file, std::string_view text) noexcept;

/// Writes UTF-8 to the standard error stream with a single call; converts it if that is a console.
void write_standard_error(std::string_view text) noexcept;

/// Keeps the calling thread's last error and `errno` over a scope.
class error_keeper {
 public:
  error_keeper() noexcept;
  ~error_keeper();
  error_keeper(const error_keeper&) = delete;
  error_keeper& operator=(const error_keeper&) = delete;

 private:
  unsigned long last_error_;
  int errno_;
};

/// Holds a mutex over a scope. While the process is ending it may fail, since the holder may be gone; what the mutex
/// guards may then be left half-changed and must not be touched.
class ending_aware_lock {
 public:
  explicit ending_aware_lock(std::mutex& mutex) : mutex_(mutex) {
    if (process_is_ending()) {
      owns_ = mutex_.try_lock();
    } else {
      mutex_.lock();
    }
  }
  ~ending_aware_lock() {
    if (owns_) {
      mutex_.unlock();
    }
  }
  ending_aware_lock(const ending_aware_lock&) = delete;
  ending_aware_lock& operator=(const ending_aware_lock&) = delete;

  explicit operator bool() const noexcept { return owns_; }

 private:
  std::mutex& mutex_;
  bool owns_ = true;
};

}  // namespace foundation::log::platform

// A thread that waits to go on for one that has no stack left. It has all its own from the start, since a dying process
// must neither make a thread nor ask for memory. Belongs to one thread, but for `go_on`.
#pragma once

#include "windows/owned_handle.hpp"

#include <windows.h>

#include <cstdint>

namespace foundation::kit {

class report_thread {
 public:
  /// `work` does not return. Throws boost::system::system_error.
  explicit report_thread(void (*work)());
  report_thread(const report_thread&) = delete;
  report_thread& operator=(const report_thread&) = delete;
  /// Waits for the thread's end.
  ~report_thread();

  std::uint32_t id() const noexcept { return id_; }
  /// Lets the thread work. Any thread.
  void go_on() noexcept { SetEvent(work_wanted_.get()); }

 private:
  static DWORD WINAPI run(void* self);

  void (*work_)();
  owned_handle work_wanted_, leave_;
  DWORD id_ = 0;
  owned_handle thread_;
};

}  // namespace foundation::kit

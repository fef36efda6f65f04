// Closes the child's ends of the pipes that a context names as standard streams: at the end of a launch, however early
// that fails. One object per launch, on the launching thread's stack. It leaves the system's last error as it was.
#pragma once

#include <fl/process/context.hpp>

#include <boost/variant/get.hpp>

namespace foundation::core::sysdep::windows {

class child_ends_guard {
 public:
  /// `ctx` is borrowed and must outlive the guard.
  explicit child_ends_guard(const process::context& ctx) : ctx_(ctx) {}
  child_ends_guard(const child_ends_guard&) = delete;
  child_ends_guard& operator=(const child_ends_guard&) = delete;

  ~child_ends_guard() {
    close_if_pipe(boost::get<process::pipe_to>(&ctx_.std_err()));
    close_if_pipe(boost::get<process::pipe_to>(&ctx_.std_out()));
    if (const auto* const pipe = boost::get<process::pipe_from>(&ctx_.std_in())) {
      pipe->device().close_for_read();
    }
  }

 private:
  static void close_if_pipe(const process::pipe_to* pipe) {
    if (pipe != nullptr) {
      pipe->device().close_for_write();
    }
  }

  const process::context& ctx_;
};

}  // namespace foundation::core::sysdep::windows

// This process's end of a pipe to or from a child, used without waiting. One transfer is under way at a time. Belongs
// to one thread.
//
// Anonymous pipes cannot be used so, which is why the system gets named ones here: made for one instance, for this
// machine alone, with a name that is not known before. Who connects first takes the only instance, so that the child's
// end is either ours or none.
#pragma once

#include <fl/process/iopipe_device.hpp>

#include "windows/owned_handle.hpp"

#include <windows.h>

#include <cstddef>

namespace foundation::kit::detail {

inline constexpr DWORD pipe_block = 65536;  // bytes: what the pipe holds, and what one transfer moves at most

enum class pipe_direction { from_child, to_child };

class overlapped_end {
 public:
  /// Makes a pipe. Throws boost::system::system_error.
  explicit overlapped_end(pipe_direction direction);
  overlapped_end(const overlapped_end&) = delete;
  overlapped_end& operator=(const overlapped_end&) = delete;
  /// As `close`.
  ~overlapped_end();

  /// The child's end, synchronous as children expect it, to be taken once: closed when the device goes.
  core::process::iopipe_device take_child_end();

  bool is_open() const noexcept { return pipe_.get() != nullptr; }
  /// Signalled when the transfer is over.
  HANDLE event() const noexcept { return event_.get(); }

  /// Begin a transfer. The buffer must live until it is over or this object is closed. What comes of it, even at once,
  /// `poll` tells. Throw boost::system::system_error unless the other side has closed its end, which `poll` tells, too.
  void begin_read(char* buffer, DWORD bytes);
  void begin_write(const char* buffer, DWORD bytes);

  enum class state { idle, under_way, done, ended };
  struct outcome {
    state what;
    DWORD bytes;  // transferred; 0 is possible, and no end
  };
  /// How the transfer stands, without waiting: `done` and `ended` (the other side has closed its end) are told once,
  /// then it is `idle`. Throws boost::system::system_error.
  outcome poll();

  /// Closes the pipe. Of a transfer under way nothing is left when this returns. Keeps the last error.
  void close() noexcept;

 private:
  void expect(BOOL begun, const char* call);
  void settle() noexcept;

  pipe_direction direction_;
  owned_handle pipe_;
  owned_handle child_;  // null once it was taken
  owned_handle event_;
  state state_ = state::idle;  // never `done`
  OVERLAPPED overlapped_ = {};
};

}  // namespace foundation::kit::detail

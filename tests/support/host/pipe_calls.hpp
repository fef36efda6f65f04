// A scripted stand-in for the pipe's system calls: reads return exactly what the test lays out, writes and closes are
// recorded. It replaces the real calls at link time, in the native build and in Windows programs that compile it in.
//
// One script lives at a time, on one thread.
#pragma once

#include "process/pipe/pipe_calls.hpp"

#include <cstddef>
#include <cstdint>
#include <deque>
#include <string>
#include <vector>

namespace test_support {

/// Installs itself for as long as it lives.
class pipe_script {
 public:
  /// What one read gives: `bytes` (what does not fit is left for the next read), or the failure.
  struct read_result {
    std::string bytes;
    foundation::core::sysdep::windows::pipe_failure failure;
  };
  /// What one write takes at most, or the failure.
  struct write_result {
    std::uint32_t taken = UINT32_MAX;
    foundation::core::sysdep::windows::pipe_failure failure;
  };
  struct read_call {
    void* handle;
    std::uint32_t bytes;
    bool overlapped;
  };

  pipe_script();
  pipe_script(const pipe_script&) = delete;
  pipe_script& operator=(const pipe_script&) = delete;
  ~pipe_script();

  /// Lays out one successful read for each chunk.
  void arrive(const std::vector<std::string>& chunks);

  std::deque<read_result> reads;    ///< when it is empty, a read fails with ERROR_BROKEN_PIPE
  std::size_t consumed = 0;         ///< bytes of the first of `reads` that are used up
  std::deque<write_result> writes;  ///< when it is empty, a write takes everything

  std::vector<read_call> read_calls;
  std::vector<std::string> written;  ///< what each write was given, failed ones included
  std::string arrived;               ///< what the writes have taken
  std::vector<void*> closed;         ///< in the order of closing
};

}  // namespace test_support

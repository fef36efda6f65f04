// The program that writes the dump of this process when it dies, started and waiting from the beginning. Belongs to one
// thread at a time.
#pragma once

#include "crash/dump_request.hpp"
#include "crash/text_line.hpp"
#include "windows/owned_handle.hpp"

#include <kit/crash_handler.hpp>

#include <windows.h>

#include <memory>
#include <optional>
#include <string>

namespace foundation::kit {

class dump_helper {
 public:
  /// Starts the program and returns when it is ready. Throws as `install_crash_handler` says.
  explicit dump_helper(const crash_dump_options& options);
  dump_helper(const dump_helper&) = delete;
  dump_helper& operator=(const dump_helper&) = delete;
  /// Ends the program, and returns when it has gone.
  ~dump_helper();

  bool waits() const noexcept { return WaitForSingleObject(child_.get(), 0) == WAIT_TIMEOUT; }

  /// Lets the program write the dump of this process, in which `thread` has crashed as `pointers` say, and waits for it
  /// as long as the options say. Puts what has come of it into `notes`, as a line. Allocates nothing.
  bool write(DWORD thread, const EXCEPTION_POINTERS* pointers, text_line& notes) noexcept;

 private:
  struct unmap {
    void operator()(dump_request* view) const noexcept { UnmapViewOfFile(view); }
  };

  void start(const ustring& program);
  /// Waits for the program's answer, `limit` milliseconds at most; what has come instead if there is none.
  const char* wait(DWORD limit) const noexcept;
  void end() noexcept;

  DWORD limit_;       ///< milliseconds
  std::string file_;  ///< for notes
  owned_handle self_, request_, done_, section_, job_, child_;
  std::unique_ptr<dump_request, unmap> shared_;
};

}  // namespace foundation::kit

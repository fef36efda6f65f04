// Starting the test's child programs through the library.
#pragma once

#include <fl/process.hpp>

#include "every_test.hpp"
#include "import_patch.hpp"
#include "support.hpp"

#include <windows.h>

namespace children {

namespace process = foundation::core::process;

/// The program of children/child.cpp, which says what it does in a mode with its arguments (UTF-8).
inline process::command command(const std::string& mode, std::vector<std::string> arguments = {}) {
  process::command made(test_support::child_path("child"));
  made.args() = std::move(arguments);
  made.args().insert(made.args().begin(), mode);
  return made;
}

/// Everything that comes out of `device` until end of file.
inline std::string read_all(const process::iopipe_device& device) {
  std::string all;
  std::vector<char> buffer(65536);
  while (const std::streamsize n = device.read(buffer.data(), static_cast<std::streamsize>(buffer.size()))) {
    all.append(buffer.data(), static_cast<std::size_t>(n));
  }
  return all;
}

inline process::context output_to(process::iopipe& pipe) {
  process::context made;
  made.std_out(process::pipe_to(pipe));
  return made;
}

inline process::process exiting_child(unsigned code) {
  return process::process(command("exit", {std::to_string(code)}));
}

/// Waits until the child has ended, without touching the object.
inline void let_it_end(const process::process& child) {
  void* const handle = child.native_handle();
  WaitForSingleObject(handle, INFINITE);
  CloseHandle(handle);
}

/// An event that children wait for before they end, set when it goes. The session has none of its name. Any thread.
class common_event {
 public:
  common_event() : event_(CreateEventA(nullptr, TRUE, FALSE, name_.c_str())) {}
  common_event(const common_event&) = delete;
  common_event& operator=(const common_event&) = delete;
  ~common_event() {
    set();
    CloseHandle(event_);
  }
  void set() { SetEvent(event_); }
  process::command waiting() const { return command("wait", {name_}); }

 private:
  static inline std::atomic<unsigned> made_{0};
  std::string name_ = "qxfl-test-" + std::to_string(GetCurrentProcessId()) + "-" + std::to_string(++made_);
  HANDLE event_;
};

/// Ends a child that an event stands for.
inline void end_stand_in(const process::process& child) {
  void* const event = child.native_handle();
  SetEvent(event);
  CloseHandle(event);
}

// Each source has its own: the watched functions are types of the source.
namespace {

/// While it lives, launches make no process: an event stands for the child and another one for its thread. The child
/// has the id of this process, and ends when its event is set, or before it begins.
class stand_ins {
  using create = decltype(&CreateProcessW);
  using read_code = decltype(&GetExitCodeProcess);

 public:
  explicit stand_ins(bool end_at_once) : end_at_once_(end_at_once) {}

 private:
  bool end_at_once_;
  test_support::injected<create> create_{
      "CreateProcessW", [this](auto, auto, auto, auto, auto, auto, auto, auto, auto, auto, PROCESS_INFORMATION* made) {
        made->hProcess = CreateEventW(nullptr, TRUE, end_at_once_, nullptr);
        made->hThread = CreateEventW(nullptr, TRUE, TRUE, nullptr);
        made->dwProcessId = GetCurrentProcessId();
        return TRUE;
      }};
  test_support::injected<read_code> read_code_{"GetExitCodeProcess", [](auto, HANDLE child, DWORD* code) {
                                                 const bool ended = WaitForSingleObject(child, 0) == WAIT_OBJECT_0;
                                                 *code = ended ? 5 : STILL_ACTIVE;
                                                 return TRUE;
                                               }};
};

}  // namespace

}  // namespace children

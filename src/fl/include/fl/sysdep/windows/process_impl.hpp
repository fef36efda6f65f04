// The Windows side of a launched child: the record that owns its system handles, and the launch that makes it.
//
// Clients hold a foundation::core::process::process and meet this class only through it. The record is immutable after
// construction, so that its member functions may run on several threads at once; destroying it closes the two handles
// and leaves the child running.
//
// Implemented in src/fl/process/windows: the record in child/process_impl.cpp, and of the launch the steps in
// launch/launch.cpp, the command line and the user in launch/command_text.cpp, the standard handles in
// launch/standard_handles.cpp and the inheritance in launch/handle_inheritance.cpp.
#pragma once

#include <fl/export.hpp>
#include <fl/process/command.hpp>
#include <fl/process/context.hpp>
#include <fl/process/exit_status.hpp>
#include <fl/process/iopipe_device.hpp>

#include <boost/smart_ptr/shared_ptr.hpp>
#include <boost/tuple/tuple.hpp>

#include <map>
#include <memory>
#include <string>
#include <utility>
#include <vector>

struct _STARTUPINFOW;
struct _STARTUPINFOEXW;
struct _PROCESS_INFORMATION;

namespace foundation::core::sysdep::windows {

/// A child that was started on Windows: the handles that this process holds of it.
class FL_API process_impl {
 public:
  process_impl(const process_impl&) = delete;
  process_impl& operator=(const process_impl&) = delete;

  /// Closes the handles of the child's process and first thread. The child goes on.
  virtual ~process_impl();

  /// Starts a child. May run on several threads at once. On return, successful or not, the parent's copies of the
  /// child's standard ends are closed: a pipe that stood in `ctx` as standard output of a failed launch is closed for
  /// writing. Throws process_bad_user where the user's name or password is at fault and process_init_error for every
  /// other failure; both carry the command and the reason, in UTF-8.
  static boost::shared_ptr<process_impl> launch(const process::command& cmd, const process::context& ctx);

  /// Waits for the process that `handle` (borrowed) stands for, or only looks if `block` is false. The result is
  /// `unknown` for a child that still runs, and for one whose exit code is 259, which the system uses to say so.
  /// Throws boost::system::system_error if the system refuses, std::runtime_error on an impossible answer of the wait.
  static process::exit_status_variant wait(void* handle, bool block);
  process::exit_status_variant wait(bool block);

  /// Whether the process object is signalled, whatever its exit code. False if the system does not say.
  bool has_ended() const noexcept;

  /// A fresh, not inheritable duplicate of the process handle, which the caller closes.
  /// Throws boost::system::system_error.
  void* get_native_handle() const;

  /// The process id; 0 after an elevated launch.
  long long get_pid() const;

  /// Ends the child at once with exit code 1. Throws boost::system::system_error, also for a child that has ended.
  void kill() const;
  /// The same as `kill`.
  void terminate() const;

  /// Bytes that the child now holds in memory. Throws boost::system::system_error.
  unsigned long long working_set_size();

 private:
  /// What becomes of a file after it is open.
  enum open_action_type { open_as_is = 0, truncate = 1, seek_to_end = 2 };

  template <class Setting>
  class StdHandleGuard;
  class child_setup;

  explicit process_impl(const _PROCESS_INFORMATION* info);

  // The launch.
  static boost::shared_ptr<process_impl> launch_untranslated(const process::command& cmd, const process::context& ctx);
  static void launch_without_elevation(child_setup& setup, const process::command& cmd);
  static void launch_under_user(child_setup& setup, const process::command& cmd, const process::context& ctx);
  static void launch_elevated_helper(const process::command& cmd, const char* const& directory,
                                     _PROCESS_INFORMATION& proc_info);
  static unsigned long get_process_creation_flags(const process::context& ctx);

  // Command line, environment and user.
  static std::string escape_copy(std::string text);
  static void append_env_var(std::vector<char>& block, const std::pair<std::string, std::string>& entry);
  static boost::tuples::tuple<std::string, std::string> parse_user(const std::string& text);

  // Standard handles. A key is STD_INPUT_HANDLE, STD_OUTPUT_HANDLE or STD_ERROR_HANDLE; any other throws
  // std::invalid_argument.
  static void*& get_handle(_STARTUPINFOW* startup, unsigned long key);
  static void set_handle(_STARTUPINFOW* startup, unsigned long key, void* handle);
  static void set_handle_to_std(_STARTUPINFOW* startup, unsigned long key);
  static void set_handle_to_sink(_STARTUPINFOW* startup, unsigned long key, const process::iopipe_device& device);
  static void set_handle_to_source(_STARTUPINFOW* startup, unsigned long key, const process::iopipe_device& device);
  static void open_file_handle(_STARTUPINFOW* startup, unsigned long key, const std::string& file, unsigned long access,
                               open_action_type action);
  static void share_std_handle(_STARTUPINFOW* startup, unsigned long destination, unsigned long source);
  static void close_handle(_STARTUPINFOW* startup, unsigned long key);
  static void close_for_read(const process::iopipe_device& device);
  static void close_for_write(const process::iopipe_device& device);

  // Inheritance.
  static void allow_pipe_to_be_inherited(const std::pair<process::iopipe_device, int>& pipe);
  static void allow_pipes_to_be_inherited(const std::map<process::iopipe_device, int>& pipes);
  static void close_inherited_pipe(const std::pair<process::iopipe_device, int>& pipe);
  static void close_inherited_pipes(const std::map<process::iopipe_device, int>& pipes);
  static void explicitly_inherit_handles(const process::context& ctx, _STARTUPINFOEXW& startup,
                                         std::vector<void*>& handles);
  static std::vector<std::shared_ptr<const void>> pass_launch_attributes(const process::context& ctx,
                                                                         _STARTUPINFOEXW& startup);

  void* hProcess;             // owned
  void* hThread;              // owned; null after an elevated launch
  unsigned long dwProcessId;  // 0 after an elevated launch
  unsigned long dwThreadId;   // kept for the debugger
};

}  // namespace foundation::core::sysdep::windows

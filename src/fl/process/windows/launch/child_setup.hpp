// Everything one launch prepares before the child is created. The members are declared in the order in which they are
// made; on every way out they are let go of in reverse: the attribute list, the handles it refers to, the environment,
// then the parent's copies of the child's ends.
#pragma once

#include <fl/sysdep/windows/process_impl.hpp>

#include "process/windows/launch/std_handle_guard.hpp"

#include <windows.h>

#include <functional>
#include <string>
#include <vector>

namespace foundation::core::sysdep::windows {

class process_impl::child_setup {
 public:
  /// Opens and marks the handles that `ctx` asks for. `ctx` is borrowed and must outlive the object.
  child_setup(const process::command& cmd, const process::context& ctx);

  /// Starts the program file `name` (UTF-8; no search along PATH) as a plain child.
  /// Throws boost::system::system_error "CreateProcessW".
  void create_process(const std::string& name);

  /// The same under a primary token (borrowed), with the environment of the context, or with another one, a block in
  /// UTF-16. Throws boost::system::system_error "CreateProcessAsUserW".
  void create_process_as_user(HANDLE token, const std::string& name);
  void create_process_as_user(HANDLE token, const std::string& name, std::vector<char16_t>& environment);

  const char* directory() const { return directory_; }
  PROCESS_INFORMATION& info() { return proc_info_; }

 private:
  // Deletes the attribute list, if one was made, at the end of the launch.
  class attribute_list_guard {
   public:
    explicit attribute_list_guard(STARTUPINFOEXW& startup) : startup_(startup) {}
    attribute_list_guard(const attribute_list_guard&) = delete;
    attribute_list_guard& operator=(const attribute_list_guard&) = delete;
    ~attribute_list_guard();

   private:
    STARTUPINFOEXW& startup_;
  };

  // What the creating calls take as UTF-16.
  struct wide_texts {
    std::wstring directory;
    std::wstring command_line;
    std::wstring program;
  };

  // The environment of the context as a block that a creating call takes, in one of two forms.
  struct environment_block {
    std::vector<char> narrow;    // used if `wide` is empty
    std::vector<char16_t> wide;  // the call must be told that it gets this one

    void* data() { return wide.empty() ? static_cast<void*>(narrow.data()) : wide.data(); }
    DWORD creation_flag() const { return wide.empty() ? 0 : CREATE_UNICODE_ENVIRONMENT; }
  };

  static STARTUPINFOEXW make_startup_info(const process::context& ctx);
  static environment_block make_environment_block(const process::environment_map& environment);
  wide_texts texts_for(const std::string& name) const;
  void create_as_user(HANDLE token, const std::string& name, DWORD creation_flags, void* environment);

  const process::context& ctx_;
  STARTUPINFOEXW startup_info_;
  PROCESS_INFORMATION proc_info_ = {};
  std::string command_line_;  // UTF-8, quoted
  const char* directory_;     // UTF-8, borrowed from the context; never null
  StdHandleGuard<process::std_in_type> std_in_;
  StdHandleGuard<process::std_out_type> std_out_;
  StdHandleGuard<process::std_err_type> std_err_;
  environment_block env_block_;
  bool inherit_handles_;
  std::vector<void*> handles_;  // what the attribute list refers to
  attribute_list_guard attribute_list_guard_{startup_info_};
  DWORD creation_flags_;
};

}  // namespace foundation::core::sysdep::windows

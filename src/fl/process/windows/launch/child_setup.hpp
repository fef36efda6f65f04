// Everything one launch prepares before the child is created, in stages that need each other. On every way out they are
// released in reverse: the attribute list, the handles it refers to, the environment, then what was opened for the
// child's standard streams. The ends of pipes stay open here.
#pragma once

#include <fl/sysdep/windows/process_impl.hpp>

#include "common/windows/handle_closer.hpp"
#include "process/windows/launch/std_handle_guard.hpp"

#include <windows.h>

#include <memory>
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
  // The settings of the standard streams, as they stand in the startup data.
  struct standard_streams {
    standard_streams(STARTUPINFOW& startup, const process::context& ctx);
    bool change_handles() const;

    StdHandleGuard<process::std_in_type> in;
    StdHandleGuard<process::std_out_type> out;
    StdHandleGuard<process::std_err_type> err;  // behind `out`, whose handle it may share
  };

  // Which handles the child inherits, and the attributes that others gave the context. With a list, the startup data
  // refer to it, and it refers to `handles` and what the attributes own.
  struct inheritance {
    inheritance(STARTUPINFOEXW& startup, const process::context& ctx, const standard_streams& streams);
    bool has_list() const { return list_closer.handle != nullptr; }

    std::vector<void*> handles;                                    // those that the list names, if any
    std::vector<std::shared_ptr<const void>> owners;               // of what its other attributes refer to
    const HandleCloser<LPPROC_THREAD_ATTRIBUTE_LIST> list_closer;  // behind what the list refers to
    bool any_inherited = false;
  };

  // What the creating calls want in UTF-16.
  struct wide_texts {
    std::wstring directory;
    std::wstring command_line;
    std::wstring program;
  };

  // The environment of the context as a block for a creating call, in one of two forms.
  struct environment_block {
    std::vector<char> narrow;    // used if `wide` is empty
    std::vector<char16_t> wide;  // needs `creation_flag`

    void* data() { return wide.empty() ? static_cast<void*>(narrow.data()) : wide.data(); }
    DWORD creation_flag() const { return wide.empty() ? 0 : CREATE_UNICODE_ENVIRONMENT; }
  };

  static STARTUPINFOEXW make_startup_info(const process::context& ctx);
  static environment_block make_environment_block(const process::environment_map& environment);
  static DWORD make_creation_flags(const process::context& ctx, const inheritance& inherited);
  wide_texts texts_for(const std::string& name) const;
  void create_as_user(HANDLE token, const std::string& name, DWORD creation_flags, void* environment);

  // Stage by stage: each member needs some of those above it, and is released before them. The constructor lists all of
  // them, so that the compiler refuses another order.
  STARTUPINFOEXW startup_info_;
  const std::string command_line_;  // UTF-8, quoted
  const char* const directory_;     // UTF-8, borrowed from the context; never null
  const standard_streams streams_;
  environment_block environment_;
  const inheritance inheritance_;
  const DWORD creation_flags_;
  PROCESS_INFORMATION proc_info_;  // all zero before the child is created
};

}  // namespace foundation::core::sysdep::windows

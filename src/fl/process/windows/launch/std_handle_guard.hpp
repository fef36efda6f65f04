// Applies the setting of one standard stream to the startup data and afterwards closes what the parent must not
// keep: a duplicate, a file. The ends of pipes are closed by child_ends_guard. One object per stream and launch, on the
// launching thread's stack.
#pragma once

#include <fl/sysdep/windows/process_impl.hpp>

#include "common/windows/handle_closer.hpp"

#include <boost/variant/apply_visitor.hpp>
#include <boost/variant/static_visitor.hpp>

#include <windows.h>

namespace foundation::core::sysdep::windows {

template <class Setting>
class process_impl::StdHandleGuard {
 public:
  /// `startup` is borrowed and must outlive the guard; `setting` is copied. Throws what opening the handle throws; then
  /// nothing that was opened here is left open.
  StdHandleGuard(STARTUPINFOW* startup, DWORD key, const Setting& setting)
      : startup_(startup), key_(key), setting_(setting) {
    changes_handle_ = boost::apply_visitor(applier{startup_, key_}, setting_);
  }
  StdHandleGuard(const StdHandleGuard&) = delete;
  StdHandleGuard& operator=(const StdHandleGuard&) = delete;

  /// Nothing escapes: a handle that cannot be closed has left its record in the log.
  ~StdHandleGuard() {
    const DWORD last_error = ::GetLastError();
    try {
      boost::apply_visitor(closer{startup_, key_}, setting_);
    } catch (...) {
    }
    ::SetLastError(last_error);
  }

  /// Whether the setting is anything but `inherit_from_parent`, so that the child must inherit handles.
  bool changes_handle() const { return changes_handle_; }

 private:
  // What the child gets.
  struct applier : boost::static_visitor<bool> {
    applier(STARTUPINFOW* s, DWORD k) : startup(s), key(k) {}
    bool operator()(const process::inherit_from_parent&) const {
      set_handle_to_std(startup, key);
      return false;
    }
    bool operator()(const process::pipe_from& pipe) const {
      set_handle_to_source(startup, key, pipe.device());
      return true;
    }
    bool operator()(const process::pipe_to& pipe) const {
      set_handle_to_sink(startup, key, pipe.device());
      return true;
    }
    bool operator()(const process::read_from_file& file) const {
      return open(file.file_string(), GENERIC_READ, open_as_is);
    }
    bool operator()(const process::overwrite_file& file) const {
      return open(file.file_string(), GENERIC_WRITE, truncate);
    }
    bool operator()(const process::append_to_file& file) const {
      return open(file.file_string(), GENERIC_WRITE, seek_to_end);
    }
    bool operator()(const process::discard&) const { return open("NUL", GENERIC_WRITE, open_as_is); }
    bool operator()(const process::merge_with_stdout&) const {
      share_std_handle(startup, key, STD_OUTPUT_HANDLE);
      return true;
    }
    bool open(const std::string& file, DWORD access, open_action_type action) const {
      open_file_handle(startup, key, file, access, action);
      return true;
    }
    STARTUPINFOW* startup;
    DWORD key;
  };

  // What the parent lets go of.
  struct closer : boost::static_visitor<void> {
    closer(STARTUPINFOW* s, DWORD k) : startup(s), key(k) {}
    // The input handle is the parent's own; the output handles are duplicates made for the child.
    void operator()(const process::inherit_from_parent&) const {
      if (key != STD_INPUT_HANDLE) {
        const HandleCloser<HANDLE> duplicate(get_handle(startup, key));
      }
    }
    void operator()(const process::pipe_from&) const {}
    void operator()(const process::pipe_to&) const {}
    template <class OpenedHere>
    void operator()(const OpenedHere&) const {
      close_handle(startup, key);
    }
    STARTUPINFOW* startup;
    DWORD key;
  };

  STARTUPINFOW* startup_;  // borrowed
  DWORD key_;              // which of the three fields
  Setting setting_;        // a copy: a pipe lives at least as long as the guard
  bool changes_handle_ = false;
};

}  // namespace foundation::core::sysdep::windows

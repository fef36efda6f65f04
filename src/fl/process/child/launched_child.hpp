// What a process object needs of its child: the record that owns the child's system handles, in the words of the
// domain, so that the states of a process are logic that compiles everywhere. `windows/child/launched_child.cpp`
// implements these functions on process_impl; the sanitizer build puts a scripted child in their place.
//
// Threads: any, several at once on one child too. What the system refuses is thrown as boost::system::system_error.
#pragma once

#include <fl/process/command.hpp>
#include <fl/process/context.hpp>
#include <fl/process/exit_status.hpp>

#include <boost/smart_ptr/shared_ptr.hpp>

namespace foundation::core::sysdep::windows {

class process_impl;

/// Starts a child. Throws process::process_init_error and process::process_bad_user.
boost::shared_ptr<process_impl> launch_child(const process::command& cmd, const process::context& ctx);

/// The status without waiting: `unknown` while the child runs, and for one whose exit code looks so. Throws
/// std::runtime_error besides, on an impossible answer of the system.
process::exit_status_variant poll_child(process_impl& child);

/// The same, but waits for the end.
process::exit_status_variant wait_for_child(process_impl& child);

/// Whether the child has ended, whatever its exit code. False if the system does not say.
bool child_has_ended(const process_impl& child) noexcept;

/// 0 after an elevated launch.
long long child_id(const process_impl& child);

/// A fresh handle on the child's process, which the caller closes.
void* duplicate_child_handle(const process_impl& child);

/// Ends the child at once, with the exit code 1. Refused for a child that has ended.
void kill_child(const process_impl& child);

/// Bytes that the child now holds in memory.
unsigned long long child_working_set_size(process_impl& child);

}  // namespace foundation::core::sysdep::windows

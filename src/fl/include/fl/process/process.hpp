// A child process.
//
//   namespace process = foundation::core::process;
//   process::iopipe out(0);                                    // 0: text mode, a line end is one "\n"
//   process::context how;
//   how.std_out(process::pipe_to(out));
//   how.explicitlyInheritHandles(true);                        // keeps other children's pipes from this child
//   process::process child(process::make_command("C:\\Windows\\System32\\cmd.exe", "/c", "dir"), how);
//   for (std::string line; std::getline(out, line);) ...       // until the child closes its end
//   unsigned int status = child.exit_status();                 // waits
//
// Starting. The constructor starts the child; a failure throws process_init_error or process_bad_user, which carry the
// command and the reason. The program's name is a file's path: no search along PATH takes place; `which` does that.
// The context says whose child it becomes: this process's own, one without elevation, one of another user, or an
// elevated one (context.hpp, `user` and `elevationLevel`).
//
// Following. exited() looks, exit_status() waits on the caller's thread, exit_status_async() gives a future and waits
// on no thread. An exit code of 259 is what the system reports for a child that still runs: such a child never looks
// ended.
//
// Giving up. Nothing ends a child because its object has gone: the destructor, a move onto the object and detach() let
// it run, return at once, and see to it that the system's records of it are cleaned up when it ends.
//
// What deadlocks: waiting for a child before reading the pipe that it writes to. Read to the end of file first. And
// what makes that end come late: a child started meanwhile without `explicitlyInheritHandles(true)`, which gets the
// pipe's end, too (context.hpp).
#pragma once

#include <fl/export.hpp>
#include <fl/process/command.hpp>
#include <fl/process/context.hpp>
#include <fl/process/errors.hpp>
#include <fl/process/exit_status.hpp>

#include <boost/smart_ptr/shared_ptr.hpp>
#include <boost/thread/future.hpp>
#include <boost/tuple/tuple.hpp>

#include <mutex>

// Futures cross the boundary of the library, and their layout hangs on this setting of Boost.Thread.
#if BOOST_THREAD_VERSION != 4
#error \
    "libqxfl is built with BOOST_THREAD_VERSION=4: define it before any Boost header, or link the target qxfl::fl, which does"
#endif

namespace foundation::core::sysdep::windows {
class process_impl;
}

namespace foundation::core::process {

/// A handle on one child. All operations but the moves may run on several threads at once; a move must have its source
/// to itself. Operations on an object whose child was given up (detached, released, moved from) throw std::logic_error
/// "process has been detached", but for detach, the moves and the destructor.
class FL_API process {
 public:
  /// Starts the child, in a default context where there is no other. Throws as the top of this file says.
  explicit process(const command& cmd);
  process(const command& cmd, const context& ctx);
  explicit process(const boost::tuples::tuple<const command, const context>& what);

  process(const process&) = delete;
  process& operator=(const process&) = delete;

  /// Leaves the source given up and without a status.
  process(process&& other);
  /// Gives up this object's child first; that child goes on.
  process& operator=(process&& other);
  /// Gives the child up. Does not throw and does not wait for it.
  ~process();

  /// Waits for the end and returns the exit code. Throws boost::system::system_error if the system refused to wait, and
  /// std::logic_error for a child that ended with 259, whose status stays unknown.
  unsigned int exit_status();

  /// Waits for the end; a child that ended with 259 gives `unknown`. Otherwise as exit_status.
  exit_status_variant detailed_exit_status();

  /// A future that becomes ready when the child ends; no thread waits for it. It stays valid after detach and after the
  /// object has gone. A continuation that runs where the future is fulfilled (`then` with boost::launch::sync) runs on
  /// the thread that learns of the end: one of the system's pool, beside others, or one that waits in exit_status,
  /// detailed_exit_status or join; or at once inside `then`, if the end is known. It may use this library like any
  /// other code; it should be short. Throws boost::system::system_error if the wait cannot be registered.
  boost::shared_future<exit_status_variant> exit_status_async();

  /// Whether the child has ended, without waiting.
  bool exited();

  /// Waits for the end. Throws as exit_status for a refusal of the system.
  void join();

  /// Gives the child up: it goes on, futures given out stay valid. Nothing happens if that was done before.
  /// Throws boost::system::system_error if the background wait cannot be set up; the child is then still held.
  void detach();

  /// The process id; 0 after an elevated launch.
  long long id() const;

  /// A fresh duplicate of the process handle; the caller closes it. Throws boost::system::system_error.
  void* native_handle() const;

  /// Gives the child up and returns such a duplicate, with which the caller follows the child from here on. Throws
  /// std::logic_error if a status has been asked for by future, waited for or seen.
  void* release();

  /// Ends the child at once; its exit code becomes 1. Throws process_kill_error if it has ended already, and
  /// boost::system::system_error if the system refuses.
  void kill();
  /// The same as `kill`.
  void terminate();

  /// Bytes that the child now holds in memory. Throws process_kill_error if it has ended, and
  /// boost::system::system_error if the system refuses, as it does for a child that ends at that moment.
  unsigned long long working_set_size();

 private:
  bool is_detached() const;
  bool poll_for_status(const std::lock_guard<std::mutex>& lock);
  void block_for_status();
  void async_await_status();
  void throw_if_detached() const;
  void throw_if_not_active(const std::lock_guard<std::mutex>& lock);

  boost::shared_ptr<sysdep::windows::process_impl> impl_;  // the live child; empty once it was given up
  boost::shared_future<exit_status_variant> status_;       // invalid until somebody waits or a poll has seen the end
  mutable std::mutex mutex_;                               // guards both; never held while waiting for the child
};

}  // namespace foundation::core::process

// A stand-in for a child process: a function that runs on a thread of this process, with its return value as the exit
// status. Code that talks to a child through pipes can be tested with it, without starting anything.
//
//   iopipe requests, answers;
//   context how;
//   const iopipe_descriptor in = how.inherit_pipe(requests, open_mode::read);
//   const iopipe_descriptor out = how.inherit_pipe(answers, open_mode::write);
//   mock_process child([=] { return serve(in, out); }, how);   // opens its ends by the descriptors, as a child would
//   requests << "hello\n" << std::flush;
//   ...
//   child.exit_status();
//
// Wait for it (`join`, `exit_status`) or `detach` it before the object goes: the thread is a boost::thread, and the
// destructor of one that was neither joined nor detached ends the process (std::terminate). So does an exception that
// leaves the function, an empty function included, which throws boost::bad_function_call on the thread.
#pragma once

#include <fl/export.hpp>
#include <fl/process/context.hpp>

#include <boost/function.hpp>
#include <boost/optional/optional.hpp>
#include <boost/smart_ptr/shared_ptr.hpp>
#include <boost/thread/mutex.hpp>
#include <boost/thread/thread.hpp>
#include <boost/tuple/tuple.hpp>

#if BOOST_THREAD_VERSION != 4
#error \
    "libqxfl is built with BOOST_THREAD_VERSION=4: define it before any Boost header, or link the target qxfl::fl, which does"
#endif

namespace foundation::core::process {

/// One function on one thread. `exited` may be called on any thread at any time; the other operations belong to one
/// thread at a time, which is not the function's own. After `detach`, `join`, `exit_status` and `exited` throw
/// std::logic_error "mock_process is detached".
class FL_API mock_process {
 public:
  /// Runs a copy of `function` on a new thread. Throws boost::thread_resource_error if there is none to be had.
  explicit mock_process(const boost::function<int()>& function);

  /// The same, and the ends of the inherited pipes of `ctx` go to the function: their devices forget the handles, which
  /// stay open and are closed by nobody else. The other settings of `ctx` have no effect.
  mock_process(const boost::function<int()>& function, const context& ctx);
  /// The same for a function and a context in one value.
  explicit mock_process(const boost::tuples::tuple<const boost::function<int()>, const context>& what);

  mock_process(const mock_process&) = delete;
  mock_process& operator=(const mock_process&) = delete;
  ~mock_process();

  /// Waits until the function has returned.
  void join();

  /// Waits until the function has returned, unless that was done before, and returns its value as an unsigned number:
  /// -1 becomes 4294967295.
  unsigned exit_status();

  /// Whether the function has returned, without waiting.
  bool exited();

  /// Lets the thread run on alone; the object may go. Nothing happens if that was done before.
  void detach();

 private:
  void throw_if_detached();

  // Shared with the thread, which may outlive the object.
  boost::shared_ptr<boost::mutex> mutex;                // guards `status` and `detached`; never held while waiting
  boost::shared_ptr<boost::optional<unsigned>> status;  // empty until the function has returned
  bool detached = false;
  boost::thread thread;
};

}  // namespace foundation::core::process

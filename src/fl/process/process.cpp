#include <fl/process/process.hpp>

#include "loggers.hpp"
#include "process/child/exit_status_promise.hpp"
#include "process/child/launched_child.hpp"
#include "process/child/process_reaper_impl.hpp"
#include "process/child/process_reaper_instance.hpp"
#include "util/process_end.hpp"

#include <boost/exception_ptr.hpp>
#include <boost/system/system_error.hpp>

#include <memory>
#include <stdexcept>
#include <utility>
#include <variant>

namespace foundation::core::process {

using sysdep::windows::close_process_handle;
using sysdep::windows::exit_status_promise;
using sysdep::windows::process_impl;
using sysdep::windows::process_reaper_instance;
using child_handle = std::unique_ptr<void, decltype(&close_process_handle)>;

namespace {

struct native_status_reader {
  unsigned int operator()(const detail::unknown&) const {
    throw std::logic_error("tried to read native status for a process that is still running");
  }
  template <class Ended>
  unsigned int operator()(const Ended& ended) const {
    return ended.native_status;
  }
};

[[noreturn]] void throw_already_exited() {
  throw process_kill_error("process already exited");
}

}  // namespace

process::process(const command& cmd) : impl_(sysdep::windows::launch_child(cmd, context())) {}

process::process(const command& cmd, const context& ctx) : impl_(sysdep::windows::launch_child(cmd, ctx)) {}

process::process(const boost::tuples::tuple<const command, const context>& what)
    : process(boost::tuples::get<0>(what), boost::tuples::get<1>(what)) {}

process::process(process&& other) : impl_(std::move(other.impl_)), status_(std::move(other.status_)) {
  other.impl_.reset();
  other.status_ = boost::shared_future<exit_status_variant>();
}

process& process::operator=(process&& other) {
  if (this == &other) {
    return *this;
  }
  try {
    detach();
  } catch (...) {
    // The old child goes on without a background wait.
  }
  impl_ = std::exchange(other.impl_, nullptr);
  status_ = std::exchange(other.status_, boost::shared_future<exit_status_variant>());
  return *this;
}

process::~process() {
  if (util::process_is_ending()) {
    return;  // A thread that the system has ended may have taken a lock with it. Nothing could be waited for any more.
  }
  try {
    detach();
  } catch (...) {
    // The child goes on without a background wait.
  }
}

bool process::is_detached() const {
  return !impl_;
}

void process::throw_if_detached() const {
  if (is_detached()) {
    throw std::logic_error("process has been detached");
  }
}

bool process::poll_for_status(const std::lock_guard<std::mutex>&) {
  bool result = false;
  foundation::log::scope_trace trace(loggers::process, __PRETTY_FUNCTION__);
  trace.result("result", result);
  loggers::process.log(foundation::log::severity::arguments, " this=", static_cast<const void*>(this));
  throw_if_detached();
  if (!status_.valid()) {
    try {
      const exit_status_variant status = poll_child(*impl_);
      if (!std::holds_alternative<detail::unknown>(status)) {
        status_ = boost::make_ready_future(status).share();
      }
    } catch (const boost::system::system_error& e) {
      status_ = boost::make_exceptional_future<exit_status_variant>(boost::copy_exception(e)).share();
    }
  }
  result = status_.valid() && status_.is_ready();
  return result;
}

void process::block_for_status() {
  const foundation::log::scope_trace trace(loggers::process, __PRETTY_FUNCTION__);
  loggers::process.log(foundation::log::severity::arguments, " this=", static_cast<const void*>(this));
  std::unique_lock<std::mutex> lock(mutex_);
  throw_if_detached();
  if (status_.valid()) {
    return;  // Whoever made it valid fills it; the caller's get waits for that.
  }
  exit_status_promise promise;
  status_ = promise.get_future().share();
  const boost::shared_ptr<process_impl> impl = impl_;  // A detach on another thread must not close the handle.
  lock.unlock();
  promise.answer([&] { return wait_for_child(*impl); });
}

void process::async_await_status() {
  const foundation::log::scope_trace trace(loggers::process, __PRETTY_FUNCTION__);
  loggers::process.log(foundation::log::severity::arguments, " this=", static_cast<const void*>(this));
  std::unique_lock<std::mutex> lock(mutex_);
  throw_if_detached();
  if (status_.valid()) {
    return;
  }
  exit_status_promise promise;
  status_ = promise.get_future().share();
  child_handle duplicate(duplicate_child_handle(*impl_), &close_process_handle);
  lock.unlock();
  const auto reaper = process_reaper_instance();  // may be the first, and without memory for it
  reaper->async_wait_on(duplicate.release(), std::move(promise));
}

unsigned int process::exit_status() {
  return std::visit(native_status_reader(), detailed_exit_status());
}

exit_status_variant process::detailed_exit_status() {
  block_for_status();
  return status_.get();
}

boost::shared_future<exit_status_variant> process::exit_status_async() {
  async_await_status();
  return status_;
}

bool process::exited() {
  const std::lock_guard<std::mutex> lock(mutex_);
  return poll_for_status(lock);
}

void process::join() {
  detailed_exit_status();
}

void process::detach() {
  const foundation::log::scope_trace trace(loggers::process, __PRETTY_FUNCTION__);
  loggers::process.log(foundation::log::severity::arguments, " this=", static_cast<const void*>(this));
  std::unique_lock<std::mutex> lock(mutex_);
  std::shared_ptr<sysdep::windows::process_reaper> reaper;
  if (!is_detached() && !status_.valid()) {
    lock.unlock();  // It may take the place of another one, whose continuations run then, and may ask this object.
    reaper = process_reaper_instance();
    lock.lock();
  }
  if (is_detached()) {
    return;
  }
  if (!status_.valid()) {
    // Nobody asks for this status: the wait is there so that the child is reaped.
    exit_status_promise promise;  // Before the duplicate, which the reaper alone closes.
    reaper->async_wait_on(duplicate_child_handle(*impl_), std::move(promise));
  }
  impl_.reset();
}

long long process::id() const {
  const std::lock_guard<std::mutex> lock(mutex_);
  throw_if_detached();
  return child_id(*impl_);
}

void* process::native_handle() const {
  const std::lock_guard<std::mutex> lock(mutex_);
  throw_if_detached();
  return duplicate_child_handle(*impl_);
}

void* process::release() {
  const foundation::log::scope_trace trace(loggers::process, __PRETTY_FUNCTION__);
  loggers::process.log(foundation::log::severity::arguments, " this=", static_cast<const void*>(this));
  const std::lock_guard<std::mutex> lock(mutex_);
  throw_if_detached();
  if (status_.valid()) {
    throw std::logic_error("cannot release a process with an active future");
  }
  void* const duplicate = duplicate_child_handle(*impl_);
  impl_.reset();
  return duplicate;
}

void process::throw_if_not_active(const std::lock_guard<std::mutex>& lock) {
  if (poll_for_status(lock)) {
    throw_already_exited();
  }
}

void process::kill() {
  const std::lock_guard<std::mutex> lock(mutex_);
  throw_if_not_active(lock);
  try {
    sysdep::windows::kill_child(*impl_);
  } catch (const boost::system::system_error&) {
    // It may have ended between the look at its status and the call, or with its status still on the way.
    if (child_has_ended(*impl_)) {
      throw_already_exited();
    }
    throw;
  }
}

void process::terminate() {
  kill();
}

unsigned long long process::working_set_size() {
  const std::lock_guard<std::mutex> lock(mutex_);
  throw_if_not_active(lock);
  return sysdep::windows::child_working_set_size(*impl_);
}

}  // namespace foundation::core::process

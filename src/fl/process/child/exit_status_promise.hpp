// The promise of a child's status. A mere boost::promise that goes without an answer makes its exception only then, and
// ends the process if there is no memory for it.
//
// Thread safety: one thread at a time; its futures any.
#pragma once

#include <fl/process/exit_status.hpp>

#include <boost/exception_ptr.hpp>
#include <boost/system/system_error.hpp>
#include <boost/thread/future.hpp>

#include <utility>

namespace foundation::core::sysdep::windows {

class exit_status_promise : public boost::promise<process::exit_status_variant> {
 public:
  exit_status_promise() : exit_status_promise(broken()) {}
  exit_status_promise(exit_status_promise&& other) noexcept
      : promise(std::move(static_cast<promise&>(other))), open_(std::exchange(other.open_, false)) {}

  /// Breaks it if it has no answer. Allocates nothing, but for continuations.
  ~exit_status_promise() {
    if (!open_) {
      return;
    }
    try {
      set_exception(broken());
    } catch (...) {  // Without memory for its continuations, which are not run then; or it has an answer already.
    }
  }

  /// Fulfils it with what `read` returns, or with the boost::system::system_error that it throws. Throws what else
  /// `read` throws, and what comes of no memory: std::bad_alloc. The promise may have its answer then, and only its
  /// continuations were not run, for which boost::thread_resource_error may come as well; or else it breaks.
  template <class Read>
  void answer(Read read) {
    process::exit_status_variant status;
    boost::exception_ptr refusal;
    try {
      status = read();
    } catch (const boost::system::system_error& e) {
      refusal = boost::copy_exception(e);
    }
    if (refusal) {
      set_exception(refusal);
    } else {
      set_value(status);
    }
    open_ = false;
  }

 private:
  /// What it breaks with is in memory before there is a promise to break.
  explicit exit_status_promise(const boost::exception_ptr&) {}

  static const boost::exception_ptr& broken() {
    static const auto& kept = *new boost::exception_ptr(boost::copy_exception(boost::broken_promise()));
    return kept;
  }

  bool open_ = true;  ///< Is here, and may be without an answer.
};

}  // namespace foundation::core::sysdep::windows

// A crew of threads that take one command after the other, and the caller's thread, which hears of each that has ended
// and may stop them.
#include "common/windows/system_error.hpp"
#include "run/windows/run_stoppable.hpp"
#include "windows/owned_handle.hpp"

#include <kit/run_all.hpp>

#include <windows.h>

#include <algorithm>
#include <atomic>
#include <mutex>
#include <new>
#include <system_error>
#include <thread>

namespace foundation::kit {
namespace {

using core::sysdep::windows::throw_system_error;

/// Runs the command of an index, and can be stopped.
using indexed_run = std::function<run_result(std::size_t index, const cancellation& stop)>;

class crew {
 public:
  crew(std::size_t count, const indexed_run& run, const run_all_options& options);
  crew(const crew&) = delete;
  crew& operator=(const crew&) = delete;
  /// Ends what still runs.
  ~crew();

  void start(std::size_t threads);
  /// Returns when all have ended. Throws what the callback throws.
  void attend();
  std::vector<run_outcome> take() { return std::move(outcomes_); }

 private:
  bool is_stopped() const noexcept;
  void work() noexcept;
  void run_one(std::size_t index) noexcept;
  void wait_for_news();
  void stop();
  bool tell_of_the_ended();

  const indexed_run& run_;
  const run_all_options& options_;
  const cancellation stop_;
  bool stopping_ = false;              // the caller's thread has seen the request
  const owned_handle news_;            // reset by who waits; set when one has ended, and when a thread leaves
  std::vector<run_outcome> outcomes_;  // each written by the thread that has its index
  std::atomic<std::size_t> next_{0};   // the index that nobody has taken
  std::mutex mutex_;                   // guards the next two
  std::vector<std::size_t> ended_;     // in their order; of the capacity for all
  std::size_t working_ = 0;            // threads
  std::size_t told_ = 0;               // of `ended_`, to the callback
  std::vector<std::thread> threads_;
};

crew::crew(std::size_t count, const indexed_run& run, const run_all_options& options)
    : run_(run),
      options_(options),
      news_(made_by("CreateEventW", ::CreateEventW(nullptr, FALSE, FALSE, nullptr))),
      outcomes_(count) {
  for (run_outcome& each : outcomes_) {
    each.result.end = run_end::cancelled;  // unless somebody comes to it
  }
  ended_.reserve(count);
  if (is_stopped()) {
    stop();
  }
}

crew::~crew() {
  stop_.request();
  for (std::thread& each : threads_) {
    each.join();
  }
}

// Fewer threads than wanted are enough.
void crew::start(std::size_t threads) {
  threads_.reserve(threads);
  while (threads_.size() != threads) {
    {
      const std::lock_guard lock(mutex_);
      ++working_;
    }
    try {
      threads_.emplace_back(&crew::work, this);
    } catch (const std::system_error&) {
      const std::lock_guard lock(mutex_);
      --working_;
      if (threads_.empty()) {
        throw;
      }
      return;
    }
  }
}

// However long the caller's thread takes to tell of others, no command begins behind a request.
bool crew::is_stopped() const noexcept {
  return stop_.requested() || (options_.cancellation && options_.cancellation->requested());
}

void crew::work() noexcept {
  while (!is_stopped()) {
    const std::size_t index = next_++;
    if (index >= outcomes_.size()) {
      break;
    }
    run_one(index);
    const std::lock_guard lock(mutex_);
    ended_.push_back(index);
    ::SetEvent(news_.get());
  }
  const std::lock_guard lock(mutex_);
  --working_;
  ::SetEvent(news_.get());
}

void crew::run_one(std::size_t index) noexcept {
  run_outcome& outcome = outcomes_[index];
  try {
    outcome.result = run_(index, stop_);
  } catch (const run_error& e) {
    outcome.error = std::current_exception();
    try {
      outcome.result = e.result();
    } catch (const std::bad_alloc&) {  // The error has it, too.
    }
  } catch (...) {
    outcome.error = std::current_exception();
  }
  if (options_.stop_at_failure && !outcome.succeeded()) {
    stop_.request();
  }
}

void crew::attend() {
  while (!tell_of_the_ended()) {
    wait_for_news();
  }
}

// Whether all threads have left.
bool crew::tell_of_the_ended() {
  for (;;) {
    std::unique_lock lock(mutex_);
    if (told_ == ended_.size()) {
      return working_ == 0;
    }
    const std::size_t index = ended_[told_++];
    lock.unlock();
    if (options_.on_end) {
      options_.on_end(index, outcomes_[index]);
    }
    if (!stopping_ && is_stopped()) {
      stop();
    }
  }
}

void crew::wait_for_news() {
  // The request first: news never hide it.
  const bool cancellable = options_.cancellation && !stopping_;
  const HANDLE handles[] = {cancellable ? options_.cancellation->native_handle() : news_.get(), news_.get()};
  const DWORD which = ::WaitForMultipleObjects(cancellable ? 2 : 1, handles, FALSE, INFINITE);
  if (which == WAIT_FAILED) {
    throw_system_error(::GetLastError(), "WaitForMultipleObjects");
  }
  if (cancellable && which == WAIT_OBJECT_0) {
    stop();
  }
}

void crew::stop() {
  stopping_ = true;
  stop_.request();
}

std::vector<run_outcome> run_with_crew(std::size_t count, unsigned parallel, const indexed_run& run,
                                       const run_all_options& options) {
  const std::size_t at_a_time = parallel != 0 ? parallel : std::max(std::thread::hardware_concurrency(), 1u);
  crew all(count, run, options);
  all.start(std::min(at_a_time, count));
  all.attend();
  return all.take();
}

}  // namespace

std::vector<run_outcome> run_all(const std::vector<run_request>& requests, unsigned parallel,
                                 const run_all_options& options) {
  return run_with_crew(
      requests.size(), parallel,
      [&](std::size_t index, const cancellation& stop) {
        const run_request& each = requests[index];
        return detail::run_stoppable(each.what, each.how, each.limits, each.options, &stop);
      },
      options);
}

std::vector<run_outcome> run_all(const std::vector<process::command>& commands, unsigned parallel,
                                 const run_limits& limits, const run_all_options& options) {
  const run_options none;
  return run_with_crew(
      commands.size(), parallel,
      [&](std::size_t index, const cancellation& stop) {
        return detail::run_stoppable(commands[index], options.how, limits, none, &stop);
      },
      options);
}

}  // namespace foundation::kit

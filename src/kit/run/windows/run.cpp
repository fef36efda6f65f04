// One command: launched into a job, with pipes whose ends here are never waited for alone. One loop on the caller's
// thread waits for everything at once: the cancellation, the child's end, and the pipes.
#include <fl/process/iopipe.hpp>
#include <fl/process/process.hpp>

#include "common/windows/system_error.hpp"
#include "run/windows/child_streams.hpp"
#include "run/windows/run_stoppable.hpp"
#include "windows/owned_handle.hpp"

#include <boost/variant/get.hpp>
#include <kit/run.hpp>

#include <windows.h>
#include <psapi.h>

#include <algorithm>
#include <array>
#include <stdexcept>
#include <utility>

namespace foundation::kit {
namespace {

using core::sysdep::windows::throw_system_error;
using detail::input_writer;
using detail::output_reader;
using steady = std::chrono::steady_clock;
using std::chrono::milliseconds;
using ticks = std::chrono::duration<std::int64_t, std::ratio<1, 10'000'000>>;  // the system's unit of time

template <class Setting>
bool is_free(const Setting& setting) {
  return boost::get<process::inherit_from_parent>(&setting) != nullptr;
}

steady::time_point later(steady::time_point from, milliseconds time) {
  constexpr milliseconds most = std::chrono::hours(24 * 365);  // a year is no limit, and cannot overflow
  return from + std::clamp(time, milliseconds(0), most);
}

// Rounded up, so that the time has come when the wait is over.
DWORD wait_until(steady::time_point end) {
  constexpr milliseconds most = std::chrono::hours(24);  // then the loop looks again
  const auto left = std::chrono::ceil<milliseconds>(end - steady::now());
  return static_cast<DWORD>(std::clamp(left, milliseconds(0), most).count());
}

std::uint64_t number(const FILETIME& time) {
  return std::uint64_t{time.dwHighDateTime} << 32 | time.dwLowDateTime;
}

// A running command. Made in steps: what a later one throws finds everything before it released, the job last, which
// ends the tree.
class running_command {
 public:
  running_command(const process::command& what, const process::context& how, const run_limits& limits,
                  const run_options& options, const kit::cancellation* stop);
  running_command(const running_command&) = delete;
  running_command& operator=(const running_command&) = delete;

  void follow();
  run_result finish();

 private:
  void launch(const process::command& what, const process::context& how);
  void wait();
  bool is_over() const;
  void end_tree(run_end why);
  void note_end_of_child();
  void read_accounts(run_result& result) const;

  const run_limits& limits_;
  const run_options& options_;
  const kit::cancellation* const stop_;  // besides that of the options; may be null
  const steady::time_point began_ = steady::now();
  job job_;
  std::optional<input_writer> input_;
  std::optional<output_reader> out_, err_;
  owned_handle process_;
  std::optional<steady::time_point> until_;  // the end of the time limit; later of the wait for what is still open
  run_end end_ = run_end::by_itself;
  bool child_ended_ = false;
  bool stopped_ = false;   // by the time limit or a request: no further one is looked for
  bool draining_ = false;  // the child has ended or was ended: `until_` is the end of everything
};

running_command::running_command(const process::command& what, const process::context& how, const run_limits& limits,
                                 const run_options& options, const kit::cancellation* stop)
    : limits_(limits), options_(options), stop_(stop), job_(detail::job_without_events(limits.job)) {
  launch(what, how);
  if (limits_.time) {
    until_ = later(began_, *limits_.time);
  }
}

// The streams of this scope end the child's ends in this process: nothing but the child keeps a pipe open.
void running_command::launch(const process::command& what, const process::context& how) {
  process::context all = how;
  std::optional<process::iopipe> in, out, err;
  if (is_free(all.std_in()) && !options_.inherit_input) {
    if (options_.input || options_.next_input) {
      all.std_in(process::pipe_from(in.emplace(input_.emplace(options_).take_child_end())));
    } else {
      all.std_in(process::read_from_file(std::string("NUL")));
    }
  }
  if (is_free(all.std_out()) && options_.capture_out) {
    all.std_out(process::pipe_to(out.emplace(out_.emplace(limits_.output, options_.on_out).take_child_end())));
  }
  if (is_free(all.std_err()) && options_.capture_err) {
    all.std_err(process::pipe_to(err.emplace(err_.emplace(limits_.output, options_.on_err).take_child_end())));
  }
  all.explicitlyInheritHandles(true);
  job_.hold(all);
  process_ = owned_handle(process::process(what, all).release());
}

bool running_command::is_over() const {
  const bool closed = !(out_ && out_->is_open()) && !(err_ && err_->is_open());
  return (child_ended_ && closed) || (draining_ && steady::now() >= *until_);
}

// What has come is taken before anything is given up.
void running_command::follow() {
  for (;;) {
    if (input_) {
      input_->go_on();
    }
    if (out_) {
      out_->go_on();
    }
    if (err_) {
      err_->go_on();
    }
    if (is_over()) {
      return;
    }
    wait();
  }
}

// What comes first here is told first: however busy the pipes are, the rest is not forgotten.
void running_command::wait() {
  std::array<HANDLE, 6> handles;
  DWORD count = 0;
  if (!stopped_) {
    if (options_.cancellation) {
      handles[count++] = options_.cancellation->native_handle();
    }
    if (stop_ != nullptr) {
      handles[count++] = stop_->native_handle();
    }
  }
  const DWORD cancellations = count;
  if (!child_ended_) {
    handles[count++] = process_.get();
  }
  const auto add = [&](const auto& stream) {
    if (stream && stream->is_open()) {
      handles[count++] = stream->event();
    }
  };
  add(out_);
  add(err_);
  add(input_);
  const DWORD which = ::WaitForMultipleObjects(count, handles.data(), FALSE, until_ ? wait_until(*until_) : INFINITE);
  if (which == WAIT_FAILED) {
    throw_system_error(::GetLastError(), "WaitForMultipleObjects");
  }
  if (which < cancellations) {
    end_tree(run_end::cancelled);
  } else if (!child_ended_ && which == cancellations) {
    note_end_of_child();
  } else if (!draining_ && until_ && steady::now() >= *until_) {
    end_tree(run_end::time_limit);
  }
}

// In the last moment the child may have ended by itself; then nobody ends it, but nobody waits for the rest either.
void running_command::end_tree(run_end why) {
  if (!child_ended_ && ::WaitForSingleObject(process_.get(), 0) == WAIT_OBJECT_0) {
    note_end_of_child();
  }
  if (draining_) {
    until_ = steady::now();
    stopped_ = true;
    return;
  }
  job_.terminate();
  end_ = why;
  stopped_ = true;
  draining_ = true;
  until_ = later(steady::now(), limits_.drain);
}

void running_command::note_end_of_child() {
  child_ended_ = true;
  if (!draining_) {
    const steady::time_point drained = later(steady::now(), limits_.drain);
    until_ = until_ ? std::min(*until_, drained) : drained;
    draining_ = true;
  }
}

// The job counts all of the tree, where the system counts at all: nobody loses a result for want of these numbers. At
// the least they are those of the child.
void running_command::read_accounts(run_result& result) const {
  JOBOBJECT_BASIC_ACCOUNTING_INFORMATION times = {};
  ::QueryInformationJobObject(job_.native_handle(), JobObjectBasicAccountingInformation, &times, sizeof times, nullptr);
  JOBOBJECT_EXTENDED_LIMIT_INFORMATION peak = {};
  ::QueryInformationJobObject(job_.native_handle(), JobObjectExtendedLimitInformation, &peak, sizeof peak, nullptr);
  FILETIME begin = {}, end = {}, kernel = {}, user = {};
  ::GetProcessTimes(process_.get(), &begin, &end, &kernel, &user);
  PROCESS_MEMORY_COUNTERS memory = {};
  ::GetProcessMemoryInfo(process_.get(), &memory, sizeof memory);
  result.user_time = std::max(ticks(times.TotalUserTime.QuadPart), ticks(number(user)));
  result.kernel_time = std::max(ticks(times.TotalKernelTime.QuadPart), ticks(number(kernel)));
  result.peak_memory = std::max<std::uint64_t>(peak.PeakJobMemoryUsed, memory.PeakPagefileUsage);
}

run_result running_command::finish() {
  run_result result;
  result.end = end_;
  if (child_ended_) {
    DWORD code = 0;
    if (!::GetExitCodeProcess(process_.get(), &code)) {
      throw_system_error(::GetLastError(), "GetExitCodeProcess");
    }
    result.status = process::detail::exited{code, code};
  }
  read_accounts(result);
  result.input_refused = input_ && input_->finish();
  if (out_) {
    result.out = out_->finish();
  }
  if (err_) {
    result.err = err_->finish();
  }
  result.wall_time = steady::now() - began_;
  return result;
}

void check(const process::context& how, const run_options& options) {
  const bool text = options.input.has_value(), pieces = static_cast<bool>(options.next_input);
  if (text + pieces + options.inherit_input > 1) {
    throw std::invalid_argument("run: more than one input");
  }
  if ((text || pieces) && !is_free(how.std_in())) {
    throw std::invalid_argument("run: an input besides that of the context");
  }
}

bool is_cancelled(const run_options& options, const cancellation* stop) {
  return (options.cancellation && options.cancellation->requested()) || (stop != nullptr && stop->requested());
}

run_result run_to_the_end(const process::command& what, const process::context& how, const run_limits& limits,
                          const run_options& options, const cancellation* stop) {
  if (is_cancelled(options, stop)) {
    run_result result;
    result.end = run_end::cancelled;
    return result;
  }
  running_command running(what, how, limits, options, stop);
  running.follow();
  return running.finish();
}

}  // namespace

run_result detail::run_stoppable(const process::command& what, const process::context& how, const run_limits& limits,
                                 const run_options& options, const cancellation* stop) {
  check(how, options);
  run_result result = run_to_the_end(what, how, limits, options, stop);
  if (options.check && !result.succeeded()) {
    throw run_error(what, std::move(result));
  }
  return result;
}

run_result run(const process::command& what, const process::context& how, const run_limits& limits,
               const run_options& options) {
  return detail::run_stoppable(what, how, limits, options, nullptr);
}

}  // namespace foundation::kit

// Running a command to its end: input in, outputs out, and how it went.
//
//   const kit::run_limits limits = {.time = 10s, .output = 1 << 20};  // in C++17, set the members one by one
//   const kit::run_result done = kit::run(process::make_command(git, "status"), {}, limits);
//   if (done.succeeded()) std::cout << done.out.text();
//
// No deadlock. Both outputs are read while the input is written, on the caller's thread; however much a child writes
// to either, and whether or not it reads its input, nobody waits for the other. No thread is started.
//
// A command is a tree. The child starts in a job of its own (kit/job.hpp) with everything that it starts itself. All of
// it is ended at the time limit, on cancellation, when a callback throws, and also, what has been left running, when
// `run` returns. A process that has escaped from the job may keep an output open: it is waited for as long as
// `run_limits::drain` says, and `run_output::given_up` tells.
//
// What the child inherits is exactly what it needs, so that commands that run side by side never keep each other's
// pipes. A redirection that the context names is respected: such an output is not captured, and such an input takes
// none from here. `merge_with_stdout` as the context's standard error puts both outputs into `run_result::out`, in
// their order.
//
// An elevated launch (context::elevationLevel) fails: its child can neither be in a job nor have pipes.
//
// Thread safety: `run` may be called on any number of threads at once.
#pragma once

#include <fl/process/command.hpp>
#include <fl/process/context.hpp>
#include <fl/process/exit_status.hpp>

#include <kit/cancellation.hpp>
#include <kit/export.hpp>
#include <kit/job.hpp>
#include <kit/run_output.hpp>

#include <chrono>
#include <cstddef>
#include <cstdint>
#include <functional>
#include <memory>
#include <optional>
#include <stdexcept>
#include <string>
#include <string_view>

#if __has_include(<version>)
#include <version>
#endif
#ifdef __cpp_lib_jthread
#include <stop_token>
#endif

namespace foundation::kit {

/// What a command may use. What is left empty is not limited.
struct run_limits {
  std::optional<std::chrono::milliseconds> time = {};  ///< from the launch on; then the whole tree is ended
  /// Bytes that are kept of each output. Of what is longer, the first and the last half are; the rest is read and
  /// dropped, so that the child never waits.
  std::optional<std::size_t> output = {};
  /// How long outputs are waited for that are still open when the child has ended, or the tree has been ended.
  std::chrono::milliseconds drain{2000};
  job_limits job = {};  ///< memory, processors, number of processes
};

/// Called on the caller's thread with each piece of an output as it arrives, which is never empty, and with an empty
/// piece once at its end. The piece is gone after the call. While it runs nothing else is read: a slow receiver slows
/// the child down. What it throws ends the tree and leaves `run`.
using output_receiver = std::function<void(std::string_view piece)>;

/// What a command gets to read, and what becomes of its outputs. Each run works on copies of the three callbacks: what
/// they hold by value is as it is here, however a run before has ended.
struct run_options {
  /// The child's input, if the context names none. With neither this nor `next_input` nor `inherit_input` the child has
  /// an input without content ("NUL").
  std::optional<std::string> input = {};
  /// The input in pieces: called on the caller's thread whenever the child can take more, until it returns an empty
  /// one. While it runs no output is read. What it throws ends the tree and leaves `run`.
  std::function<std::string()> next_input = {};
  bool inherit_input = false;  ///< the child has this process's input

  /// False: the output goes where that of this process goes.
  bool capture_out = true, capture_err = true;
  /// Told of each output besides what is kept; see also kit/by_lines.hpp.
  output_receiver on_out = {}, on_err = {};

  std::optional<kit::cancellation> cancellation = {};  ///< a request for it ends the tree
  bool check = false;                                  ///< throw run_error unless the command succeeds
};

/// Who ended the child.
enum class run_end {
  by_itself,   ///< with whatever exit code
  time_limit,  ///< it took longer than `run_limits::time`
  cancelled,   ///< perhaps before it was started; then the status is `unknown`
};

/// How a command ended, what it wrote and what it took.
struct run_result {
  /// How the child ended; 259 is an exit code like any other here. `unknown` if it was ended and yet did not end within
  /// `run_limits::drain`.
  process::exit_status_variant status;
  run_end end = run_end::by_itself;  ///< who ended it
  /// What it wrote to standard output and to standard error.
  run_output out, err;
  /// The child closed its input, or ended, before the pipe had taken all of it. What the pipe holds, 65,536 bytes, is
  /// not known to have been read.
  bool input_refused = false;

  std::chrono::nanoseconds wall_time{0};  ///< from before the launch to the end of all output
  /// Time on processors, of all processes of the tree.
  std::chrono::nanoseconds user_time{0}, kernel_time{0};
  std::uint64_t peak_memory = 0;  ///< bytes that they committed together at most

  /// Empty if the child's end was not seen.
  std::optional<std::uint32_t> exit_code() const noexcept {
    const auto* const ended = std::get_if<process::detail::exited>(&status);
    return ended != nullptr ? std::optional(ended->exit_code) : std::nullopt;
  }
  /// Whether the child ended by itself, with 0.
  bool succeeded() const noexcept { return end == run_end::by_itself && exit_code() == 0u; }
};

/// A command that was to succeed and did not. `what()` has the command, how it ended and the last lines of its standard
/// error, or of its output if there is none.
class KIT_API run_error : public std::runtime_error {
 public:
  /// `command` and `result`: what was run, and how that ended.
  run_error(const process::command& command, run_result result);
  run_error(const run_error& other) noexcept;
  run_error& operator=(const run_error& other) noexcept;
  ~run_error() override;

  /// How it ended, with all that was kept of its outputs.
  const run_result& result() const noexcept { return *result_; }

 private:
  std::shared_ptr<const run_result> result_;  // never null; an exception must be copied without failing
};

/// Runs a command and waits for its end. Throws process_init_error and process_bad_user if it cannot be started,
/// std::invalid_argument for input where the context names one, or of two kinds, run_error as said above, what the
/// callbacks throw, and boost::system::system_error if the system refuses; then the tree is ended, and nothing is left.
KIT_API run_result run(const process::command& what, const process::context& how = {}, const run_limits& limits = {},
                       const run_options& options = {});

#ifdef __cpp_lib_jthread
/// The same; a stop ends the tree as a cancellation does. Together with `options.cancellation` a stop is a request for
/// that, too.
inline run_result run(const process::command& what, const process::context& how, const run_limits& limits,
                      run_options options, const std::stop_token& stop) {
  if (!options.cancellation) {
    options.cancellation.emplace();
  }
  const std::stop_callback on_stop(stop, [asked = *options.cancellation] { asked.request(); });
  return run(what, how, limits, options);
}
#endif

}  // namespace foundation::kit

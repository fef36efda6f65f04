// Running many commands, some at a time.
//
//   const auto outcomes = kit::run_all(commands, 8, limits);
//   for (const kit::run_outcome& each : outcomes) ...          // in the order of the commands
//
// Each command is run as by `kit::run`, on one of as many threads as run at a time; these are made for the call and
// joined before it returns. No child outlives the call, however it is left.
//
// Thread safety: may be called on any number of threads at once.
#pragma once

#include <kit/cancellation.hpp>
#include <kit/export.hpp>
#include <kit/run.hpp>

#include <cstddef>
#include <exception>
#include <functional>
#include <optional>
#include <utility>
#include <vector>

namespace foundation::kit {

/// A command with everything that `run` wants to know. The callbacks of its options are called on a thread of
/// `run_all`; those of different commands at the same time.
struct run_request {
  process::command what;      ///< what to run
  process::context how = {};  ///< in what surroundings
  run_limits limits = {};     ///< what it may use
  run_options options = {};   ///< its input and its outputs
};

/// How one of the commands went.
struct run_outcome {
  /// Of a command that was left out, or could not be run to its end, nothing but `run_end::cancelled`.
  run_result result;
  /// What `run` threw: the command could not be started, one of its own callbacks threw. Null otherwise.
  std::exception_ptr error;

  /// Whether it ran, and ended by itself with 0.
  bool succeeded() const noexcept { return !error && result.succeeded(); }
};

/// What all commands have in common.
struct run_all_options {
  process::context how = {};  ///< of commands that come without one
  /// Called on the caller's thread, one at a time, when a command has ended, or could not be started; in the order in
  /// which that happens, and not for those that are left out. What it throws ends all commands that run and leaves
  /// `run_all`.
  std::function<void(std::size_t index, const run_outcome& outcome)> on_end = {};
  /// As soon as one command does not succeed, those that run are ended, and the others are left out.
  bool stop_at_failure = false;
  /// A request for it has the same consequence; but while `on_end` is called, those that run are ended only when it has
  /// returned.
  std::optional<kit::cancellation> cancellation = {};
};

/// Runs all requests, at most `parallel` at a time (0: as many as there are logical processors), and returns their
/// outcomes in the order of the requests. Throws what `on_end` throws, std::system_error if no thread can be started,
/// boost::system::system_error and std::bad_alloc.
KIT_API std::vector<run_outcome> run_all(const std::vector<run_request>& requests, unsigned parallel = 0,
                                         const run_all_options& options = {});

/// The same for commands with the same context and limits, without input.
KIT_API std::vector<run_outcome> run_all(const std::vector<process::command>& commands, unsigned parallel = 0,
                                         const run_limits& limits = {}, const run_all_options& options = {});

#ifdef __cpp_lib_jthread
/// The same; a stop is a request for `options.cancellation`, which there need not be.
inline std::vector<run_outcome> run_all(const std::vector<process::command>& commands, unsigned parallel,
                                        const run_limits& limits, run_all_options options,
                                        const std::stop_token& stop) {
  if (!options.cancellation) {
    options.cancellation.emplace();
  }
  const std::stop_callback on_stop(stop, [asked = *options.cancellation] { asked.request(); });
  return run_all(commands, parallel, limits, options);
}
#endif

}  // namespace foundation::kit

// A job: a group of processes that ends as one. Whatever a child of the job starts belongs to the job, too, so that a
// command ends with all its descendants.
//
//   kit::job job;
//   process::context how;
//   job.hold(how);                                    // what is launched with this context, and with copies of it
//   process::process child(command, how);             // belongs to the job from its first instruction on
//   if (!job.wait_until_empty(60s)) job.terminate();  // the whole tree
//
#pragma once

#include <fl/process/context.hpp>

#include <kit/export.hpp>

#include <chrono>
#include <cstddef>
#include <cstdint>
#include <memory>
#include <optional>

namespace foundation::kit {

namespace process = foundation::core::process;

/// What all processes of a job may use together, or each of them. What is left empty is not limited.
struct job_limits {
  std::optional<std::uint64_t> process_memory;           ///< bytes that one process may commit
  std::optional<std::uint64_t> job_memory;               ///< bytes that all of them may commit together
  std::optional<std::uint32_t> active_processes;         ///< how many may run at once
  std::optional<std::uint64_t> processors;               ///< the mask of the logical processors that they may run on
  std::optional<std::chrono::nanoseconds> process_time;  ///< user-mode time of one process, before it is ended
};

/// What the processes of a job have used so far, those that have ended included.
struct job_accounting {
  std::chrono::nanoseconds user_time, kernel_time;
  std::uint64_t peak_process_memory, peak_job_memory;  ///< bytes committed at most, by one process and by all
  std::uint32_t total_processes, active_processes;
  std::uint64_t bytes_read, bytes_written;
};

/// Owns the job. Its operations may be called from any thread at once; a move needs both objects to itself.
class KIT_API job {
 public:
  /// Throws boost::system::system_error.
  explicit job(const job_limits& limits = {});
  job(job&& other) noexcept;
  job& operator=(job&& other) noexcept;
  /// Ends all processes of the job.
  ~job();

  /// Children that are launched with `how`, or a copy of it, start inside the job. The context keeps the job's handle
  /// for that, not the job. An elevated launch is refused: the shell cannot start its child inside a job.
  void hold(process::context& how) const;

  /// Ends all processes of the job now. Nothing happens if it has none. Throws boost::system::system_error.
  void terminate(unsigned exit_code = 1);

  /// Throws boost::system::system_error.
  job_accounting accounting() const;

  /// Waits until no process is left in the job, `limit` at most; whether that is so.
  bool wait_until_empty(std::chrono::milliseconds limit) const;

  /// The system's handle, which stays the job's.
  void* native_handle() const noexcept;

 private:
  struct state;
  std::shared_ptr<state> state_;  // null only once it was moved from
};

}  // namespace foundation::kit

// A job: a group of processes that ends as one. Whatever a child of the job starts belongs to the job, too, so that a
// command ends with all its descendants.
//
//   kit::job job;
//   process::context how;
//   job.hold(how);                                    // what is launched with this context, and with copies of it
//   process::process child(command, how);             // belongs to the job from its first instruction on
//   if (!job.wait_until_empty(60s)) job.terminate();  // the whole tree
//
// What happens inside can be followed, and the limits that were hit with it:
//
//   kit::job job({.job_memory = 1u << 30});           // in C++17, set the members one by one
//   ...
//   while (const auto event = job.wait_for_event(60s)) {
//     if (event->kind == kit::job_event_kind::job_memory_limit) complain_of(event->process_id);
//     if (event->kind == kit::job_event_kind::all_ended) break;
//   }
//
// Nobody leaves a job: a descendant that asks for it is refused. Only what others start on a descendant's behalf (a
// service, the system's task scheduler, a shell that is elevated) was never inside. This process may be in a job of
// somebody else's; a new one nests in it, and what it is limited to holds inside as well.
//
// The end of the job is the end of its processes, also when this process is killed or crashes: the system closes the
// handle then. No child inherits the handle.
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
  std::optional<std::uint64_t> process_memory;  ///< bytes that one process may commit; more is refused to it
  std::optional<std::uint64_t> job_memory;      ///< bytes that all of them may commit together
  /// How many may run at once. One more is not started: the launch fails, or that of a descendant.
  std::optional<std::uint32_t> active_processes;
  std::optional<std::uint64_t> processors;  ///< the mask of the logical processors that they may run on
  /// User-mode time of one process, before it is ended; in steps of 100 ns, rounded up, one step at least.
  std::optional<std::chrono::nanoseconds> process_time;
};

/// What the processes of a job have used so far, those that have ended included.
struct job_accounting {
  /// Time on processors, in the programs and in the kernel.
  std::chrono::nanoseconds user_time, kernel_time;
  /// Bytes committed at most, by one process and by all.
  std::uint64_t peak_process_memory, peak_job_memory;
  /// How many processes there have been, and how many there are.
  std::uint32_t total_processes, active_processes;
  /// By all operations of input and output.
  std::uint64_t bytes_read, bytes_written;
};

/// What an event tells.
enum class job_event_kind : std::uint8_t {
  started,               ///< a process began inside the job
  ended,                 ///< a process ended
  ended_abnormally,      ///< a process ended by an error that nothing in it handled
  all_ended,             ///< none was left at that moment
  process_memory_limit,  ///< a process was refused memory
  job_memory_limit,      ///< a process was refused memory, since all of them have the rest
  process_time_limit,    ///< a process was ended, since its time was over
  active_process_limit,  ///< a process was not started
};

/// Something that happened in a job.
struct job_event {
  job_event_kind kind;       ///< what it was
  std::uint32_t process_id;  ///< 0 with `all_ended` and `active_process_limit`; one that has ended may come again
};

class job;

namespace detail {

/// A job that tells no events: for `run`, which makes one for each command. Nobody may wait for its emptiness either.
job job_without_events(const job_limits& limits);

}  // namespace detail

/// Owns the job. Its operations may be called from any thread at once, the waiting ones by several; a move needs both
/// objects to itself. After it was moved from, an object can be assigned to and destroyed.
class KIT_API job {
 public:
  /// Throws boost::system::system_error, also for limits that the system does not accept, such as a mask without
  /// processors.
  explicit job(const job_limits& limits = {});
  job(job&& other) noexcept;
  /// Ends all processes of the former job.
  job& operator=(job&& other) noexcept;
  /// Ends all processes of the job, with exit code 1, and does not wait until they are gone. A launch on another thread
  /// that is under way fails, or its child is ended as well. Nobody may be inside one of the waiting operations.
  ~job();

  /// Children that are launched with `how`, or a copy of it, start inside the job: none of their instructions runs
  /// outside. The context does not keep the job: once that has gone, each such launch fails before anything starts,
  /// also when a new job holds the context. So does an elevated launch, since the shell cannot start its child inside a
  /// job. Of several jobs that hold one context the first is the outermost, and each later one belongs to those before;
  /// to hold a context again changes nothing. mock_process takes no notice. Throws std::bad_alloc.
  void hold(process::context& how) const;

  /// Ends all processes of the job now. Nothing happens if it has none. The job stays usable. The processes may take a
  /// moment to be gone. Throws boost::system::system_error.
  void terminate(unsigned exit_code = 1);

  /// Throws boost::system::system_error.
  job_accounting accounting() const;

  /// Waits until no process is left in the job, `limit` at most; whether that is so. True at once if none has been
  /// started. Counts processes, and does not rely on events. Throws boost::system::system_error, std::bad_alloc.
  bool wait_until_empty(std::chrono::milliseconds limit) const;

  /// Takes the next event, and waits for it, `limit` at most; empty if there was none. Each event is given to one
  /// caller. At least the last 4,096 are kept for whoever asks. As long as nobody waits here or in `wait_until_empty`
  /// the system keeps all of them, in memory that is dear: in a job that lives long somebody should ask now and then.
  /// It does not promise to tell everything: do not wait for `all_ended` without a limit, but by `wait_until_empty`.
  /// Throws boost::system::system_error, std::bad_alloc.
  std::optional<job_event> wait_for_event(std::chrono::milliseconds limit) const;

  /// The system's handle, which stays the job's.
  void* native_handle() const noexcept;

 private:
  friend job detail::job_without_events(const job_limits& limits);

  struct state;
  struct membership;

  explicit job(std::shared_ptr<state> made);

  std::shared_ptr<state> state_;  // null only once it was moved from
};

}  // namespace foundation::kit

// The job object, the port at which it tells what happens inside, and the attribute of a launch that puts the child
// into it. The port is the job's before anything can start there, so that no message is too early.
//
// Of those that wait, one reads the port and the others sleep until it has read: each message reaches all of them,
// whichever of them it wakes. Messages may be missing and may tell of what was: who asks whether the job is empty
// counts its processes, again and again.
#include <fl/process/launch_attributes.hpp>

#include "common/windows/system_error.hpp"
#include "windows/exclusive_lock.hpp"
#include "windows/owned_handle.hpp"

#include <kit/job.hpp>

#include <windows.h>

#include <algorithm>
#include <deque>
#include <stdexcept>
#include <utility>
#include <vector>

namespace foundation::kit {

using foundation::core::sysdep::windows::throw_system_error;

namespace {

using ticks = std::chrono::duration<std::int64_t, std::ratio<1, 10'000'000>>;  // the system's unit of time
using clock = std::chrono::steady_clock;
using std::chrono::milliseconds;

constexpr std::size_t kept_events = 4096;
constexpr milliseconds recount{250};  // how soon a missing message is made up for
constexpr unsigned exit_code_at_end = 1;

// A limit that nobody lives to see keeps the sum in range.
clock::time_point deadline(milliseconds limit) {
  constexpr milliseconds century = std::chrono::hours(24 * 365 * 100);
  return clock::now() + std::clamp(limit, milliseconds::zero(), century);
}

milliseconds time_left(clock::time_point end) {
  return std::max(std::chrono::ceil<milliseconds>(end - clock::now()), milliseconds::zero());
}

enum class event_port { wanted, unneeded };

template <class Information>
void set_information(HANDLE job, JOBOBJECTINFOCLASS which, Information information) {
  if (!::SetInformationJobObject(job, which, &information, sizeof information)) {
    throw_system_error(::GetLastError(), "SetInformationJobObject");
  }
}

template <class Information>
Information information_of(HANDLE job, JOBOBJECTINFOCLASS which) {
  Information information = {};
  if (!::QueryInformationJobObject(job, which, &information, sizeof information, nullptr)) {
    throw_system_error(::GetLastError(), "QueryInformationJobObject");
  }
  return information;
}

JOBOBJECT_EXTENDED_LIMIT_INFORMATION as_the_system_has_them(const job_limits& limits) {
  JOBOBJECT_EXTENDED_LIMIT_INFORMATION all = {};
  JOBOBJECT_BASIC_LIMIT_INFORMATION& basic = all.BasicLimitInformation;
  basic.LimitFlags = JOB_OBJECT_LIMIT_KILL_ON_JOB_CLOSE;
  if (limits.process_memory) {
    basic.LimitFlags |= JOB_OBJECT_LIMIT_PROCESS_MEMORY;
    all.ProcessMemoryLimit = *limits.process_memory;
  }
  if (limits.job_memory) {
    basic.LimitFlags |= JOB_OBJECT_LIMIT_JOB_MEMORY;
    all.JobMemoryLimit = *limits.job_memory;
  }
  if (limits.active_processes) {
    basic.LimitFlags |= JOB_OBJECT_LIMIT_ACTIVE_PROCESS;
    basic.ActiveProcessLimit = *limits.active_processes;
  }
  if (limits.processors) {
    basic.LimitFlags |= JOB_OBJECT_LIMIT_AFFINITY;
    basic.Affinity = *limits.processors;
  }
  if (limits.process_time) {
    basic.LimitFlags |= JOB_OBJECT_LIMIT_PROCESS_TIME;
    basic.PerProcessUserTimeLimit.QuadPart = std::max(std::chrono::ceil<ticks>(*limits.process_time), ticks(1)).count();
  }
  return all;
}

// Some messages tell of limits that a job of ours never has.
std::optional<job_event> event_of(DWORD message, std::uintptr_t process) {
  using kind = job_event_kind;
  const auto id = static_cast<std::uint32_t>(process);
  switch (message) {
    case JOB_OBJECT_MSG_NEW_PROCESS:
      return job_event{kind::started, id};
    case JOB_OBJECT_MSG_EXIT_PROCESS:
      return job_event{kind::ended, id};
    case JOB_OBJECT_MSG_ABNORMAL_EXIT_PROCESS:
      return job_event{kind::ended_abnormally, id};
    case JOB_OBJECT_MSG_ACTIVE_PROCESS_ZERO:
      return job_event{kind::all_ended, 0};
    case JOB_OBJECT_MSG_PROCESS_MEMORY_LIMIT:
      return job_event{kind::process_memory_limit, id};
    case JOB_OBJECT_MSG_JOB_MEMORY_LIMIT:
      return job_event{kind::job_memory_limit, id};
    case JOB_OBJECT_MSG_END_OF_PROCESS_TIME:
      return job_event{kind::process_time_limit, id};
    case JOB_OBJECT_MSG_ACTIVE_PROCESS_LIMIT:
      return job_event{kind::active_process_limit, 0};
    default:
      return std::nullopt;
  }
}

}  // namespace

struct job::state {
  const owned_handle port;  // null if nobody is to hear of events
  const owned_handle handle;
  SRWLOCK lock = SRWLOCK_INIT;  // guards what follows
  CONDITION_VARIABLE news = CONDITION_VARIABLE_INIT;
  std::deque<job_event> events;
  bool port_is_read = false;  // by one of those who wait

  state(const job_limits& limits, event_port events);
  state(const state&) = delete;
  state& operator=(const state&) = delete;
  ~state();
  void await_message(milliseconds limit);
  void keep(const std::optional<job_event>& event);
};

job::state::state(const job_limits& limits, event_port wanted)
    : port(wanted == event_port::wanted
               ? made_by("CreateIoCompletionPort", ::CreateIoCompletionPort(INVALID_HANDLE_VALUE, nullptr, 0, 1))
               : owned_handle()),
      handle(made_by("CreateJobObjectW", ::CreateJobObjectW(nullptr, nullptr))) {
  if (port.get()) {
    set_information(handle.get(), JobObjectAssociateCompletionPortInformation,
                    JOBOBJECT_ASSOCIATE_COMPLETION_PORT{nullptr, port.get()});
  }
  set_information(handle.get(), JobObjectExtendedLimitInformation, as_the_system_has_them(limits));
}

// Runs with the object, or at the end of a launch that was under way then. Somebody may have duplicated the handle.
job::state::~state() {
  if (port.get()) {  // Without one the handle is nobody else's, and its end ends the job.
    ::TerminateJobObject(handle.get(), exit_code_at_end);
  }
}

void job::state::keep(const std::optional<job_event>& event) {
  if (!event) {
    return;
  }
  if (events.size() == kept_events) {
    events.pop_front();
  }
  events.push_back(*event);
}

// Returns when a message has been read, by this thread or by another, at `limit`, and perhaps before. The lock is held
// before and after, and not while waiting.
void job::state::await_message(milliseconds limit) {
  const auto for_at_most = static_cast<DWORD>(limit.count());
  if (port_is_read) {
    ::SleepConditionVariableSRW(&news, &lock, for_at_most, 0);
    return;
  }
  port_is_read = true;
  ::ReleaseSRWLockExclusive(&lock);
  DWORD message = 0;
  ULONG_PTR key = 0;
  OVERLAPPED* process = nullptr;  // its id
  const bool read = ::GetQueuedCompletionStatus(port.get(), &message, &key, &process, for_at_most);
  const DWORD error = read ? ERROR_SUCCESS : ::GetLastError();
  ::AcquireSRWLockExclusive(&lock);
  port_is_read = false;
  ::WakeAllConditionVariable(&news);  // one of them reads on, should this thread leave
  if (!read && error != WAIT_TIMEOUT) {
    throw_system_error(error, "GetQueuedCompletionStatus");
  }
  if (read) {
    keep(event_of(message, reinterpret_cast<std::uintptr_t>(process)));
  }
}

// What a context holds: its jobs, which may go before it, the outer ones first.
struct job::membership {
  std::vector<std::weak_ptr<state>> jobs;

  core::detail::launch_attribute operator()() const {
    struct list {
      std::vector<std::shared_ptr<state>> jobs;
      std::vector<HANDLE> handles;
    };
    const auto present = std::make_shared<list>();
    for (const std::weak_ptr<state>& each : jobs) {
      present->jobs.push_back(each.lock());
      if (!present->jobs.back()) {
        throw std::logic_error("the job that the child is to start in has gone");
      }
      present->handles.push_back(present->jobs.back()->handle.get());
    }
    return {present->handles.data(), present->handles.size() * sizeof(HANDLE), present};
  }
};

job::job(const job_limits& limits) : state_(std::make_shared<state>(limits, event_port::wanted)) {}

job::job(std::shared_ptr<state> made) : state_(std::move(made)) {}

job detail::job_without_events(const job_limits& limits) {
  return job(std::make_shared<job::state>(limits, event_port::unneeded));
}

job::job(job&& other) noexcept = default;

job& job::operator=(job&& other) noexcept {
  job taken(std::move(other));
  state_.swap(taken.state_);
  return *this;
}

// A launch that is under way keeps the state a little longer. It ends its own child; the others end now. Without one
// the state goes here and ends them all.
job::~job() {
  if (state_ && state_.use_count() != 1) {
    ::TerminateJobObject(state_->handle.get(), exit_code_at_end);
  }
}

void job::hold(process::context& how) const {
  membership all;
  for (const auto& [number, source] : core::detail::launch_attributes(how)) {
    if (number == PROC_THREAD_ATTRIBUTE_JOB_LIST) {
      all = *source.target<membership>();  // nobody else gives this attribute
    }
  }
  const auto is_this = [this](const std::weak_ptr<state>& each) { return each.lock() == state_; };
  if (std::none_of(all.jobs.begin(), all.jobs.end(), is_this)) {
    all.jobs.push_back(state_);
    core::detail::set_launch_attribute(how, PROC_THREAD_ATTRIBUTE_JOB_LIST, std::move(all));
  }
}

void job::terminate(unsigned exit_code) {
  if (!::TerminateJobObject(state_->handle.get(), exit_code)) {
    throw_system_error(::GetLastError(), "TerminateJobObject");
  }
}

job_accounting job::accounting() const {
  const HANDLE handle = state_->handle.get();
  const auto [basic, io] =
      information_of<JOBOBJECT_BASIC_AND_IO_ACCOUNTING_INFORMATION>(handle, JobObjectBasicAndIoAccountingInformation);
  const auto extended = information_of<JOBOBJECT_EXTENDED_LIMIT_INFORMATION>(handle, JobObjectExtendedLimitInformation);
  return {ticks(basic.TotalUserTime.QuadPart),
          ticks(basic.TotalKernelTime.QuadPart),
          extended.PeakProcessMemoryUsed,
          extended.PeakJobMemoryUsed,
          basic.TotalProcesses,
          basic.ActiveProcesses,
          io.ReadTransferCount,
          io.WriteTransferCount};
}

bool job::wait_until_empty(milliseconds limit) const {
  const auto end = deadline(limit);
  const exclusive_lock guard(state_->lock);
  for (;;) {
    const auto count = information_of<JOBOBJECT_BASIC_ACCOUNTING_INFORMATION>(state_->handle.get(),
                                                                              JobObjectBasicAccountingInformation);
    if (count.ActiveProcesses == 0) {
      return true;
    }
    const milliseconds left = time_left(end);
    if (left == milliseconds::zero()) {
      return false;
    }
    state_->await_message(std::min(left, recount));
  }
}

// Looks at the port once, even if there is no time to wait.
std::optional<job_event> job::wait_for_event(milliseconds limit) const {
  const auto end = deadline(limit);
  const exclusive_lock guard(state_->lock);
  auto& events = state_->events;
  for (bool last = false; events.empty() && !last;) {
    const milliseconds left = time_left(end);
    last = left == milliseconds::zero();
    state_->await_message(std::min(left, recount));
  }
  if (events.empty()) {
    return std::nullopt;
  }
  const job_event first = events.front();
  events.pop_front();
  return first;
}

void* job::native_handle() const noexcept {
  return state_->handle.get();
}

}  // namespace foundation::kit

// A job with real children. Wine accepts limits and enforces none, tells of no limit, knows neither memory peaks nor
// counts of bytes, and loses no message: these are injected, into the calls of libqxkit.dll.

#include "children.hpp"
#include "every_test.hpp"
#include "import_patch.hpp"
#include "launch_texts.hpp"
#include "refusals.hpp"
#include "scripted_tokens.hpp"

#include <kit/job.hpp>

#include <windows.h>
#include <shellapi.h>

namespace kit = foundation::kit;
namespace process = foundation::core::process;
using namespace std::chrono_literals;
using launch_texts::init_error_text;
using launch_texts::text_of_launch;
using test_support::injected;
using test_support::loses_no_handle;
using kind = kit::job_event_kind;

namespace {

constexpr auto long_enough = 60s;

process::context held_by(const kit::job& job) {
  process::context how;
  job.hold(how);
  return how;
}

/// A child that waits for its own child, which waits for the end of its input. Both are under way: Wine's server can
/// crash when it ends a process together with one that this is just starting.
class tree {
 public:
  explicit tree(process::context how)
      : child_(children::command("start", {"echo", "ready"}),
               how.std_in(process::pipe_from(input_)).std_err(process::pipe_to(output_))) {
    char ready[16];
    EXPECT_EQ(output_.device().read(ready, sizeof ready), 5);
  }
  process::process& child() { return child_; }

 private:
  process::iopipe input_, output_;
  process::process child_;
};

/// A process that has started in the job, by the next event.
HANDLE next_started(const kit::job& job) {
  const auto event = job.wait_for_event(long_enough);
  EXPECT_TRUE(event && event->kind == kind::started);
  return OpenProcess(SYNCHRONIZE | PROCESS_QUERY_INFORMATION, FALSE, event ? event->process_id : 0);
}

/// Waits until the process has ended, and closes the handle.
DWORD exit_code_of(HANDLE process) {
  DWORD code = STILL_ACTIVE;
  EXPECT_EQ(WaitForSingleObject(process, 60'000), WAIT_OBJECT_0);
  GetExitCodeProcess(process, &code);
  CloseHandle(process);
  return code;
}

bool is_inside(const process::process& child, const kit::job& job) {
  const HANDLE handle = child.native_handle();
  BOOL inside = FALSE;
  IsProcessInJob(handle, job.native_handle(), &inside);
  CloseHandle(handle);
  return inside;
}

/// What the library hears at the port of a job.
injected<decltype(&GetQueuedCompletionStatus)>::handler_type saying(
    std::vector<std::pair<DWORD, std::uintptr_t>> messages) {
  return [messages = std::move(messages), next = std::make_shared<std::size_t>(0)](auto, auto, DWORD* message, auto,
                                                                                   OVERLAPPED** process, DWORD limit) {
    if (*next == messages.size()) {
      Sleep(limit);
      SetLastError(WAIT_TIMEOUT);
      return FALSE;
    }
    *message = messages[*next].first;
    *process = reinterpret_cast<OVERLAPPED*>(messages[(*next)++].second);
    return TRUE;
  };
}

}  // namespace

// Also while contexts still refer to it, and somebody has a second handle.
TEST(Job, EndsAChildAndItsChildOnDemandAndWithTheObject) {
  const process::command unstarted = children::command("exit", {"0"});
  EXPECT_TRUE(loses_no_handle([&] {
    for (const bool on_demand : {true, false}) {
      HANDLE duplicate = nullptr;
      std::optional<kit::job> job(std::in_place), other(std::in_place);
      const process::context how = held_by(*job);
      tree both(how);
      const HANDLE first = next_started(*job), second = next_started(*job);
      EXPECT_FALSE(job->wait_until_empty(0ms));
      DuplicateHandle(GetCurrentProcess(), job->native_handle(), GetCurrentProcess(), &duplicate, 0, FALSE,
                      DUPLICATE_SAME_ACCESS);
      *other = std::move(*job);
      if (on_demand) {
        other->terminate(7);
        EXPECT_TRUE(other->wait_until_empty(long_enough));
      }
      other.reset();
      EXPECT_EQ(exit_code_of(second), on_demand ? 7u : 1u);
      EXPECT_EQ(exit_code_of(first), on_demand ? 7u : 1u);
      EXPECT_EQ(both.child().exit_status(), on_demand ? 7u : 1u);
      const injected<decltype(&CreateProcessW)> creation("CreateProcessW");
      EXPECT_EQ(text_of_launch<process::process_init_error>(unstarted, how),
                init_error_text(unstarted, "the job that the child is to start in has gone"));
      EXPECT_EQ(creation.calls(), 0u);
      CloseHandle(duplicate);
    }
  }));
}

TEST(Job, ThatGoesDuringALaunchEndsTheChildOfIt) {
  const children::common_event event;
  std::optional<kit::job> job(std::in_place);
  const process::context how = held_by(*job);
  const injected<decltype(&CreateProcessW)> creation("CreateProcessW", [&](auto original, auto... all) {
    job.reset();
    return original(all...);
  });
  EXPECT_EQ(process::process(event.waiting(), how).exit_status(), 1u);
}

TEST(Job, ReachesTheChildByEachWayOfLaunchingButTheElevatedOne) {
  const kit::job job;
  const children::common_event event;
  process::context how = held_by(job);
  EXPECT_TRUE(is_inside(process::process(event.waiting(), how), job));
  {
    scripted_tokens system;
    system.real_children = true;
    how.elevationLevel(process::ElevationLevel::NonElevated);
    EXPECT_TRUE(is_inside(process::process(event.waiting(), how), job));
    EXPECT_EQ(system.under, "duplicate");
    how.elevationLevel(process::ElevationLevel::Unset);
    how.user("somebody", "secret");
    EXPECT_TRUE(is_inside(process::process(event.waiting(), how), job));
    EXPECT_EQ(system.under, "user");
    how.user(boost::none);
  }
  const process::command what = children::command("exit", {"5"});
  how.elevationLevel(process::ElevationLevel::Elevated);
  const injected<decltype(&ShellExecuteExA)> shell("ShellExecuteExA");
  EXPECT_EQ(
      text_of_launch<process::process_init_error>(what, how),
      init_error_text(what, "an elevated child cannot start inside a job, nor with other attributes of a launch"));
  EXPECT_EQ(shell.calls(), 0u);
}

// The list of handles and that of jobs share the startup data. A context copies, swaps and forgets nothing else for it.
TEST(Job, ChangesNothingElseOfALaunchOrAContext) {
  const kit::job outer, inner;
  const process::context without;
  process::context how = without;
  outer.hold(how);
  const process::context before = how;
  inner.hold(how);
  outer.hold(how);  // once more
  EXPECT_TRUE(how == without && !(how < without) && !(without < how));
  std::ostringstream one, other;
  one << how;
  other << without;
  EXPECT_EQ(one.str(), other.str());

  std::vector<std::pair<DWORD_PTR, std::vector<HANDLE>>> lists;
  const injected<decltype(&UpdateProcThreadAttribute)> update(
      "UpdateProcThreadAttribute",
      [&](auto original, auto target, auto flags, DWORD_PTR attribute, PVOID value, SIZE_T size, auto... rest) {
        const auto handles = static_cast<HANDLE*>(value);
        lists.emplace_back(attribute, std::vector<HANDLE>(handles, handles + size / sizeof(HANDLE)));
        return original(target, flags, attribute, value, size, rest...);
      });
  BOOL inherits = -1;
  const injected<decltype(&CreateProcessW)> creation(
      "CreateProcessW",
      [&](auto original, auto name, auto line, auto of_process, auto of_thread, BOOL inherit, auto... rest) {
        inherits = inherit;
        return original(name, line, of_process, of_thread, inherit, rest...);
      });
  const std::vector<HANDLE> both = {outer.native_handle(), inner.native_handle()};
  for (const bool explicitly : {false, true}) {
    process::context copied, swapped(without);
    copied = how;
    copied.swap(swapped);
    swapped.explicitlyInheritHandles(explicitly);
    lists.clear();
    const children::common_event event;
    const process::process child(event.waiting(), swapped);
    EXPECT_TRUE(is_inside(child, outer) && is_inside(child, inner));
    EXPECT_EQ(inherits, explicitly ? TRUE : FALSE);
    ASSERT_EQ(lists.size(), explicitly ? 2u : 1u);
    EXPECT_EQ(lists.back(), std::pair(DWORD_PTR{PROC_THREAD_ATTRIBUTE_JOB_LIST}, both)) << "the outer one first";
    lists.clear();
    process::process(children::command("exit", {"0"}), copied).exit_status();
    EXPECT_TRUE(lists.empty());
  }
  process::process(children::command("exit", {"0"}), before).exit_status();
  EXPECT_EQ(lists.back().second, std::vector<HANDLE>{outer.native_handle()}) << "a copy made before";
}

TEST(Job, TellsWhatTheSystemRefuses) {
  const children::stand_ins no_processes(true);
  const auto work_with = [] {
    return [] {
      kit::job job;
      process::context how;
      job.hold(how);
      job.terminate();
      return std::to_string(job.wait_until_empty(0ms)) + std::to_string(job.wait_for_event(0ms).has_value());
    };
  };
  EXPECT_EQ(test_support::refuse_each_call(work_with, "libqxkit.dll"),
            (test_support::refusal_outcomes{{"CreateIoCompletionPort", "system_error: CreateIoCompletionPort!"},
                                            {"CreateJobObjectW", "system_error: CreateJobObjectW!"},
                                            {"GetQueuedCompletionStatus", "system_error: GetQueuedCompletionStatus!"},
                                            {"QueryInformationJobObject", "system_error: QueryInformationJobObject!"},
                                            {"SetInformationJobObject", "2 x system_error: SetInformationJobObject!"},
                                            {"TerminateJobObject", "system_error: TerminateJobObject! | 10"},
                                            {"new", "bad_alloc: std::bad_alloc"}}));
  // And what it refuses to a launch: with the reason, before anything starts.
  const kit::job job;
  const process::command what = children::command("exit", {"5"});
  for (const bool explicitly : {false, true}) {
    process::context how = held_by(job);
    how.explicitlyInheritHandles(explicitly);
    injected<decltype(&UpdateProcThreadAttribute)> update("UpdateProcThreadAttribute");
    const injected<decltype(&CreateProcessW)> creation("CreateProcessW");
    update.fail_at(explicitly ? 2 : 1, FALSE, ERROR_NOT_SUPPORTED);
    EXPECT_TRUE(loses_no_handle([&] {
      update.reset();
      update.fail_at(explicitly ? 2 : 1, FALSE, ERROR_NOT_SUPPORTED);
      EXPECT_EQ(text_of_launch<process::process_init_error>(what, how),
                init_error_text(what, launch_texts::told("UpdateProcThreadAttribute", ERROR_NOT_SUPPORTED)));
    }));
    EXPECT_EQ(creation.calls(), 0u);
  }
}

TEST(Job, LimitsAndUsageAreTheSystemsOnes) {
  JOBOBJECT_EXTENDED_LIMIT_INFORMATION set = {};
  const injected<decltype(&SetInformationJobObject)> setting(
      "libqxkit.dll", "SetInformationJobObject", [&](auto original, HANDLE job, auto which, void* what, DWORD size) {
        if (which == JobObjectExtendedLimitInformation && size == sizeof set) {
          std::memcpy(&set, what, size);
        }
        return original(job, which, what, size);
      });
  kit::job_limits limits;
  limits.process_memory = std::uint64_t{1} << 33;
  limits.job_memory = std::uint64_t{1} << 34;
  limits.active_processes = 3;
  limits.processors = 1;  // which every machine has
  limits.process_time = 101ns;
  const kit::job limited(limits);
  const JOBOBJECT_BASIC_LIMIT_INFORMATION& basic = set.BasicLimitInformation;
  EXPECT_EQ(basic.LimitFlags, 0x2000u | 0x100u | 0x200u | 0x8u | 0x10u | 0x2u);
  EXPECT_EQ(set.ProcessMemoryLimit, *limits.process_memory);
  EXPECT_EQ(set.JobMemoryLimit, *limits.job_memory);
  EXPECT_EQ(basic.ActiveProcessLimit, 3u);
  EXPECT_EQ(basic.Affinity, 1u);
  EXPECT_EQ(basic.PerProcessUserTimeLimit.QuadPart, 2) << "rounded up";
  limits = {};
  limits.process_time = -1s;
  const kit::job impatient(limits);
  EXPECT_EQ(basic.LimitFlags, 0x2000u | 0x2u);
  EXPECT_EQ(basic.PerProcessUserTimeLimit.QuadPart, 1);

  injected<decltype(&QueryInformationJobObject)> query(
      "libqxkit.dll", "QueryInformationJobObject", [](auto, HANDLE, auto which, void* what, DWORD size, DWORD*) {
        if (which == JobObjectBasicAndIoAccountingInformation) {
          auto& both = *static_cast<JOBOBJECT_BASIC_AND_IO_ACCOUNTING_INFORMATION*>(what);
          both.BasicInfo = {{{1, 0}}, {{2, 0}}, {}, {}, 3, 4, 5, 6};
          both.IoInfo = {7, 8, 9, 10, 11, 12};
          return BOOL{size == sizeof both};
        }
        auto& extended = *static_cast<JOBOBJECT_EXTENDED_LIMIT_INFORMATION*>(what);
        extended.PeakProcessMemoryUsed = 13;
        extended.PeakJobMemoryUsed = 14;
        return BOOL{which == JobObjectExtendedLimitInformation && size == sizeof extended};
      });
  const auto [user, kernel, peak, job_peak, total, active, read, written] = limited.accounting();
  EXPECT_EQ(user, 100ns);
  EXPECT_EQ(kernel, 200ns);
  EXPECT_EQ((std::vector<std::uint64_t>{peak, job_peak, total, active, read, written}),
            (std::vector<std::uint64_t>{13, 14, 4, 5, 10, 11}));
  for (const auto nth : {1, 2}) {
    query.reset();
    query.handle_with([](auto...) { return TRUE; });
    query.fail_at(static_cast<std::uint64_t>(nth), FALSE, ERROR_ACCESS_DENIED);
    EXPECT_THROW(limited.accounting(), boost::system::system_error);
  }
}

// A message that was lost, one that tells of what was, and more than one who waits.
TEST(Job, IsEmptyWhenItHasNoProcessWhateverTheMessagesSay) {
  const kit::job job;
  EXPECT_TRUE(job.wait_until_empty(0ms));
  const process::context how = held_by(job);
  const auto run_and_wait = [&] {
    children::common_event event;
    process::process child(event.waiting(), how);
    std::atomic<int> seen_empty{0}, seen_busy{0};
    {
      std::vector<std::jthread> waiting;
      for (int thread = 0; thread != 3; ++thread) {
        waiting.emplace_back([&] {
          seen_busy += !job.wait_until_empty(10ms);
          seen_empty += job.wait_until_empty(std::chrono::milliseconds::max());
        });
      }
      while (seen_busy != 3) {
        std::this_thread::yield();
      }
      event.set();
    }
    EXPECT_EQ(seen_empty, 3);
    child.exit_status();
  };
  run_and_wait();
  injected<decltype(&GetQueuedCompletionStatus)> port("libqxkit.dll", "GetQueuedCompletionStatus");
  port.handle_with(saying({}));
  run_and_wait();
  port.handle_with(saying(std::vector<std::pair<DWORD, std::uintptr_t>>(100, {JOB_OBJECT_MSG_ACTIVE_PROCESS_ZERO, 0})));
  run_and_wait();
}

TEST(Job, EventsTellTheKindAndTheProcessInOrderAndEachOnce) {
  const kit::job job;
  const process::context how = held_by(job);
  process::process child(children::command("exit", {"5"}), how);
  const auto id = static_cast<std::uint32_t>(child.id());
  EXPECT_TRUE(job.wait_until_empty(long_enough));  // which leaves the events to who asks for them
  for (const auto& [what, who] : {std::pair(kind::started, id), {kind::ended, id}, {kind::all_ended, 0u}}) {
    const auto event = job.wait_for_event(long_enough);
    ASSERT_TRUE(event);
    EXPECT_EQ(event->kind, what);
    EXPECT_EQ(event->process_id, who);
  }
  EXPECT_FALSE(job.wait_for_event(0ms));

  const injected<decltype(&GetQueuedCompletionStatus)> port(
      "libqxkit.dll", "GetQueuedCompletionStatus",
      saying({{99, 1}, {11, 2}, {8, 3}, {9, 4}, {10, 5}, {2, 6}, {3, 0}, {12, 7}, {1, 0}}));
  std::vector<std::pair<kind, std::uint32_t>> told;
  while (const auto event = job.wait_for_event(500ms)) {
    told.emplace_back(event->kind, event->process_id);
  }
  EXPECT_EQ(told, (std::vector<std::pair<kind, std::uint32_t>>{{kind::ended_abnormally, 3},
                                                               {kind::process_memory_limit, 4},
                                                               {kind::job_memory_limit, 5},
                                                               {kind::process_time_limit, 6},
                                                               {kind::active_process_limit, 0}}));
}

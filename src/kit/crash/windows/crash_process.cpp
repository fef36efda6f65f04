#include "crash/windows/crash_process.hpp"

#include <fl/diag/fast_exit.hpp>
#include <fl/diag/terminate.hpp>
#include <fl/diag/thread_name.hpp>

#include "crash/fault_text.hpp"
#include "crash/windows/uncaught.hpp"

#include <algorithm>
#include <cstddef>
#include <iterator>
#include <string_view>

namespace foundation::kit {

namespace {

namespace diag = core::diag;

/// Bytes of stack that a report takes, with what the symbol service and a callback may want. A thread that has less
/// left leaves it to the one that waits.
constexpr std::size_t stack_for_report = 160 * 1024;

/// All there is to know of the crash that is being reported. The thread that has the turn writes it.
struct present_crash {
  crash_turn turn;
  crash_targets* targets = nullptr;
  crash_cause cause{};
  DWORD thread = 0;
  const EXCEPTION_POINTERS* pointers = nullptr;  ///< of the fault, or to the two below
  EXCEPTION_RECORD record{};
  CONTEXT context{};
  EXCEPTION_POINTERS own_pointers{};
  text_line what, notes;
  text_line short_report;        ///< what stands for a report that cannot be had
  const char* report = nullptr;  ///< null as long as there is none
  bool dump_written = false;
};

constinit present_crash present;

void put_cause(text_line& line, const crash_cause& cause) noexcept {
  switch (cause.kind) {
    case crash_kind::fault: {
      const EXCEPTION_RECORD& record = *cause.fault->ExceptionRecord;
      static_assert(sizeof *record.ExceptionInformation == sizeof(std::uint64_t));
      std::uint64_t parameters[EXCEPTION_MAXIMUM_PARAMETERS];
      std::copy(std::begin(record.ExceptionInformation), std::end(record.ExceptionInformation), parameters);
      put_fault(line, {record.ExceptionCode, record.NumberParameters, parameters});
      break;
    }
    case crash_kind::terminate:
      line.put("std::terminate");
      break;
    case crash_kind::abort:
    case crash_kind::fatal_error:
      line.put("abort");
      break;
    case crash_kind::invalid_parameter:
      line.put("invalid argument to the C run-time");
      if (cause.place != nullptr) {
        line.put(" in ").put(cause.place);
      }
      break;
  }
}

/// For a crash that is no fault: the place of the context, under the code that debuggers know for it.
void make_pointers(std::uint32_t exit_code) noexcept {
  constexpr std::uint32_t fatal_app_exit = 0x40000015, error = 0xC0000000;
  present.record.ExceptionCode = (exit_code & error) == error ? exit_code : fatal_app_exit;
  present.record.ExceptionFlags = EXCEPTION_NONCONTINUABLE;
  present.record.ExceptionAddress = reinterpret_cast<void*>(present.context.Rip);
  present.own_pointers = {&present.record, &present.context};
  present.pointers = &present.own_pointers;
}

std::size_t stack_left() noexcept {
  ULONG_PTR low = 0, high = 0;
  GetCurrentThreadStackLimits(&low, &high);
  const auto here = reinterpret_cast<ULONG_PTR>(__builtin_frame_address(0));
  return here > low ? here - low : 0;
}

void write_everywhere(std::string_view text) noexcept {
  crash_targets& to = *present.targets;
  const bool filed = !to.file.wanted() || to.file.write(text);
  if (to.standard_error || !filed) {
    write_whole(GetStdHandle(STD_ERROR_HANDLE), text);
  }
}

void log_report() noexcept {
  if (present.cause.kind == crash_kind::abort && diag::terminate_called()) {
    present.cause.kind = crash_kind::fatal_error;
    present.what.clear();
    present.what.put("fatal error");
    present.report = diag::terminate_log();
  } else {
    present.report = diag::terminate_log(present.what.c_str(), present.pointers);
  }
}

void write_report() noexcept {
  if (present.report == nullptr) {
    present.short_report.put("\nAbnormal termination:\n").put(present.what.view()).put("\n\n");
    present.report = present.short_report.c_str();
  }
  write_everywhere(present.report);
}

void write_dump() noexcept {
  if (present.targets->dump) {
    present.dump_written = present.targets->dump->write(present.thread, present.pointers, present.notes);
  }
}

void write_notes() noexcept {
  if (!present.notes.view().empty()) {
    write_everywhere(present.notes.view());
  }
}

void tell_callback() noexcept {
  const auto& callback = present.targets->callback;
  if (!callback) {
    return;
  }
  try {
    callback({present.cause.kind, present.cause.exit_code, present.thread, present.what.c_str(),
              present.report != nullptr ? present.report : present.what.c_str(), present.notes.c_str(),
              present.dump_written});
  } catch (...) {
    // The process ends all the same.
  }
}

void describe_uncaught() noexcept {
  if (present.cause.kind == crash_kind::terminate) {
    put_uncaught(present.what);
  }
}

/// In this order: what is sure before what may fail, and the program's own code last. The first is a matter of the
/// thread that has crashed.
constexpr struct {
  void (*run)() noexcept;
  const char* name;
} steps[] = {
    {describe_uncaught, "the exception was described"},
    {log_report, "the report was made"},
    {write_report, "the report was written"},
    {write_dump, "the dump was written"},
    {write_notes, "notes were written"},
    {tell_callback, "the callback ran"},
};

/// A step that crashes comes back to here, further up on the stack, and goes on with the next one.
[[noreturn]] void go_through_steps() noexcept {
  for (unsigned step = present.turn.begin_step(); step < std::size(steps); step = present.turn.begin_step()) {
    steps[step].run();
  }
  core::app::fast_exit(static_cast<int>(present.cause.exit_code));
}

bool stack_is_short(const EXCEPTION_POINTERS* fault) noexcept {
  return (fault != nullptr && fault->ExceptionRecord->ExceptionCode == EXCEPTION_STACK_OVERFLOW) ||
         stack_left() < stack_for_report;
}

/// Goes on here, or where there is more stack.
[[noreturn]] void go_on(const EXCEPTION_POINTERS* fault) noexcept {
  report_thread& thread = present.targets->thread;
  if (thread.id() == GetCurrentThreadId() || !stack_is_short(fault)) {
    go_through_steps();
  }
  present.turn.delegate_to(thread.id());
  thread.go_on();
  for (;;) {
    Sleep(INFINITE);
  }
}

/// A report from another thread would not tell whose it is.
void put_thread(text_line& line) noexcept {
  char name[64];
  line.put(", in thread ");
  if (diag::getCurrentThreadName(name, sizeof name)) {
    line.put('\'').put(name).put("' ");
  }
  line.put("id ").decimal(present.thread);
}

[[noreturn]] void report_first(const crash_cause& cause) noexcept {
  present.cause = cause;
  present.thread = GetCurrentThreadId();
  present.pointers = cause.fault;
  if (cause.fault == nullptr) {
    RtlCaptureContext(&present.context);  // This frame is there until the end: the stack is walked from it.
    make_pointers(cause.exit_code);
  }
  put_cause(present.what, cause);
  steps[present.turn.begin_step()].run();
  if (stack_is_short(cause.fault)) {
    put_thread(present.what);
  }
  go_on(cause.fault);
}

[[noreturn]] void report_again(const crash_cause& cause) noexcept {
  const unsigned begun = present.turn.steps_begun();
  present.notes.put("Crashed again while ").put(begun == 0 ? "it began" : steps[begun - 1].name).put(": ");
  put_cause(present.notes, cause);
  present.notes.put('\n');
  go_on(cause.fault);
}

}  // namespace

crash_targets::crash_targets(const crash_handler_options& options)
    : standard_error(options.standard_error), file(options.report_file), thread(go_through_steps) {
  if (!options.dump.file.empty()) {
    dump.emplace(options.dump);
  }
}

void open_crash_process(crash_targets& targets) noexcept {
  present.targets = &targets;
  present.turn.open();
}

bool close_crash_process() noexcept {
  switch (present.turn.close(GetCurrentThreadId())) {
    case crash_turn::outcome::other:
      Sleep(INFINITE);
      return false;
    case crash_turn::outcome::again:
      return false;
    default:
      return true;
  }
}

void end_crashed_process(const crash_cause& cause) noexcept {
  switch (present.turn.arrive(GetCurrentThreadId())) {
    case crash_turn::outcome::first:
      report_first(cause);
    case crash_turn::outcome::again:
      report_again(cause);
    case crash_turn::outcome::other:
      Sleep(INFINITE);  // The process is about to end.
      return;
    default:
      return;
  }
}

}  // namespace foundation::kit

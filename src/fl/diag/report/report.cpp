#include "diag/report/report.hpp"

#include <fl/diag/stacktrace.hpp>
#include <fl/diag/thread_name.hpp>

#include "diag/report/report_line.hpp"
#include "diag/stacktrace_format.hpp"
#include "util/thread_id.hpp"

#include <exception>
#include <string_view>

namespace foundation::core::diag {

namespace {

constexpr std::size_t most_frames = 128;

bool known(const char* text) {
  return text != nullptr && *text != '\0';
}

void write_event(std::ostream& os, const report_event& event) {
  write(os, event.assertion ? "\nAssertion" : "\nAbnormal termination");
  if (known(event.function)) {
    write(os, " in ");
    write(os, event.function);
  }
  if (known(event.file)) {
    write(os, " at ");
    write(os, event.file);
    report_line line;
    line.put(" line ").put(event.line < 0 ? "-" : "");
    const auto distance = static_cast<std::uint64_t>(event.line);
    write(os, line.decimal(event.line < 0 ? 0 - distance : distance).view());
  }
  write(os, ":\n");
  write(os, event.message);
  write(os, "\n\n");
}

void write_thread(std::ostream& os) {
  char name[64] = "<unknown>";
  getCurrentThreadName(name, sizeof name);
  report_line id;
  write(os, "Current Thread: '");
  write(os, name);
  write(os, id.put("' id ").decimal(util::current_thread_id()).put("\n\n").view());
}

void write_fault_state(std::ostream& os, const thread_context& context) {
  write(os, "Register State (from fault):\n");
  context.format(os);
  write(os, "\nStack Trace (from fault):\n");
  const stacktrace<most_frames> stack(context);
  write_for_report(os, stack, nullptr);
}

void write_present_state(std::ostream& os, const void* first_frame) {
  write(os, "Register State (captured):\n");
  thread_context().format(os);
  write(os, "\nStack Trace (captured):\n");
  const stacktrace<most_frames> stack;
  write_for_report(os, stack, first_frame);
}

/// Runs one block of the report. Returns whether it went through; if it did not, the report says why.
template <class Block>
bool ran_through(std::ostream& os, Block block) {
  try {
    block();
    return true;
  } catch (const std::exception& error) {
    write(os, error.what());
    write(os, " exception during abnormal termination\n");
  } catch (...) {
    write(os, "Unknown exception during abnormal termination\n");
  }
  return false;
}

}  // namespace

void write_report(std::ostream& os, const report_event& event, const thread_context& context) noexcept {
  if (os.tellp() == std::ostream::pos_type(-1)) {
    return;
  }
  // What is known for sure comes first: from the second block on, the state of a damaged process is looked at.
  const bool event_written = ran_through(os, [&] {
    write_event(os, event);
    write_thread(os);
  });
  if (event_written) {
    ran_through(os, [&] { context ? write_fault_state(os, context) : write_present_state(os, event.first_frame); });
  }
  write(os, "\n");
  os.flush();
}

}  // namespace foundation::core::diag

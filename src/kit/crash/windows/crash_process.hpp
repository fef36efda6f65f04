// The way from a crash to the end of the process. On it nothing is allocated and no lock is taken but the report's own:
// what is needed was made by the installation.
//
// Thread safety: any thread may crash at any time; the installation is made and removed by one thread at a time.
#pragma once

#include "crash/crash_turn.hpp"
#include "crash/text_line.hpp"
#include "crash/windows/dump_helper.hpp"
#include "crash/windows/report_file.hpp"
#include "crash/windows/report_thread.hpp"

#include <kit/crash_handler.hpp>

#include <windows.h>

#include <optional>

namespace foundation::kit {

/// What a handler knows of a crash.
struct crash_cause {
  crash_kind kind;
  std::uint32_t exit_code;
  const EXCEPTION_POINTERS* fault;  ///< null: the state of the thread that calls is taken
  const char* place;                ///< the function that found it, or null
};

/// Where reports go, and who helps.
struct crash_targets {
  /// Leaves the callback to whoever makes them.
  explicit crash_targets(const crash_handler_options& options);

  const bool standard_error;
  std::function<void(const crash&)> callback;
  report_file file;
  std::optional<dump_helper> dump;
  report_thread thread;
};

/// From now on crashes are reported to `targets`, which are there until `close_crash_process` has returned.
void open_crash_process(crash_targets& targets) noexcept;
/// From now on they are not. Does not return if another thread has crashed; false if this one has.
bool close_crash_process() noexcept;

/// Reports and ends the process. Returns only if nothing is to be reported.
void end_crashed_process(const crash_cause& cause) noexcept;

}  // namespace foundation::kit

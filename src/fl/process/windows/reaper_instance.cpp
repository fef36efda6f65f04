// The one reaper of the library and the test hooks that replace it.

#include <fl/process/testing.hpp>

#include "process/windows/process_reaper.hpp"

#include <windows.h>

#include <atomic>
#include <memory>
#include <mutex>

namespace foundation::core::sysdep::windows {

using process::implementation_qos;

namespace {

constinit std::atomic<implementation_qos> current_qos{implementation_qos{}};    // what the reaper was made for
constinit std::atomic<implementation_qos> requested_qos{implementation_qos{}};  // what the test hook asks for

// True when the process is on its way out and its other threads have been ended where they stood.
bool process_is_ending() {
  using query = BOOLEAN(NTAPI*)();
  const HMODULE ntdll = ::GetModuleHandleW(L"ntdll.dll");
  const auto in_progress =
      ntdll ? reinterpret_cast<query>(reinterpret_cast<void*>(::GetProcAddress(ntdll, "RtlDllShutdownInProgress")))
            : nullptr;
  return in_progress && in_progress() != FALSE;
}

struct reaper_holder {
  // A library that is unloaded drops its waits. In a process that ends, a pool thread may have been ended inside a
  // callback, with the reaper's mutex in its hands: waiting for it would never end, and the system is about to drop
  // the waits and close the handles anyway.
  ~reaper_holder() {
    if (process_is_ending())
      static_cast<void>(reaper.release());
  }

  std::unique_ptr<process_reaper> reaper = std::make_unique<process_reaper>();
};

}  // namespace

process_reaper& process_reaper_instance() {
  static reaper_holder holder;
  static std::mutex replacement;
  if (current_qos.load() == requested_qos.load())
    return *holder.reaper;
  const std::lock_guard<std::mutex> lock(replacement);
  if (const implementation_qos wanted = requested_qos.load(); current_qos.load() != wanted) {
    auto old = std::make_unique<process_reaper>();
    old.swap(holder.reaper);
    old.reset();
    current_qos.store(wanted);
  }
  return *holder.reaper;
}

}  // namespace foundation::core::sysdep::windows

namespace foundation::core::process::testing {

bool join_all_async_procs() noexcept {
  sysdep::windows::process_reaper_instance().join();
  return true;
}

void set_implementation_qos(implementation_qos value) {
  sysdep::windows::requested_qos.store(value);
}

implementation_qos get_implementation_qos() {
  sysdep::windows::process_reaper_instance();
  return implementation_qos{2};
}

}  // namespace foundation::core::process::testing

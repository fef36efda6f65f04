// Capturing the stack that a context describes. That of the calling thread is captured in guard.cpp.
#include <fl/diag/stacktrace.hpp>

#include "diag/windows/guard.hpp"
#include "diag/windows/symbol_engine.hpp"
#include "diag/windows/symbol_service.hpp"
#include "diag/windows/unwind.hpp"

#include <windows.h>

#include <cstddef>

namespace foundation::core::diag {

namespace {

/// One walk from a context, in a form that a guarded function accepts.
struct walk {
  explicit walk(const CONTEXT& from) : record(from) {}

  CONTEXT record;                   ///< A copy: the walk changes it.
  symbol_engine* engine = nullptr;  ///< Null if it cannot be had.
  bool acquired = false;            ///< The engine's service has one holder more.
  const void** next = nullptr;
  const void** limit = nullptr;  ///< One past the last frame that there is room for.
  std::size_t skip = 0;
};

void collect_frame(walk& w, DWORD64 address) {
  if (w.skip > 0) {
    --w.skip;
  } else if (w.next != w.limit) {
    *w.next++ = reinterpret_cast<const void*>(address);
  }
}

/// Leaves a function at address 0, which a call through a null pointer has entered: the system's walk ends there before
/// it has begun, although all of the stack is there.
void leave_null_function(walk& w) {
  collect_frame(w, 0);
  leave_function(w.record);
}

STACKFRAME64 first_frame(const CONTEXT& record) {
  STACKFRAME64 frame{};
  frame.AddrPC = {record.Rip, 0, AddrModeFlat};
  frame.AddrFrame = {record.Rbp, 0, AddrModeFlat};
  frame.AddrStack = {record.Rsp, 0, AddrModeFlat};
  return frame;
}

void collect_frames(void* object) {
  walk& w = *static_cast<walk*>(object);
  w.engine->acquire();
  w.acquired = true;
  if (w.record.Rip == 0 && w.engine->initialised()) {
    leave_null_function(w);
  }
  STACKFRAME64 frame = first_frame(w.record);
  const auto table_access = symbol_service::function_table_access.get();
  const auto module_base = symbol_service::get_module_base.get();
  while (w.engine->initialised() && w.next != w.limit &&
         symbol_service::walk_stack(IMAGE_FILE_MACHINE_AMD64, w.engine->process(), GetCurrentThread(), &frame,
                                    &w.record, nullptr, table_access, module_base, nullptr)) {
    collect_frame(w, frame.AddrPC.Offset);
  }
}

/// The same without the service.
void collect_frames_alone(void* object) {
  walk& w = *static_cast<walk*>(object);
  if (w.record.Rip == 0) {
    leave_null_function(w);
  }
  // A caller's frame lies behind that of the function it called; what does not lead there is no stack.
  for (DWORD64 last = 0; w.record.Rip != 0 && w.next != w.limit && w.record.Rsp > last;) {
    collect_frame(w, w.record.Rip);
    last = w.record.Rsp;
    leave_function(w.record);
  }
}

void release_service(void* object) {
  static_cast<symbol_engine*>(object)->release();
}

}  // namespace

void stacktrace_base::capture(const thread_context& context, std::size_t skip) {
  // What the other capture's assembly goes by.
  static_assert(offsetof(stacktrace_base, capacity_) == 0 && offsetof(stacktrace_base, end_) == 8);
  static_assert(sizeof(stacktrace_base) == 16, "the frames stand behind it");
  if (!context) {
    throw bad_thread_context("cannot capture stack for empty thread context");
  }
  walk w(*context.get_data());
  w.engine = symbol_service::loader_is_free() ? &symbol_engine::instance() : nullptr;
  w.next = begin();
  w.limit = begin() + capacity_;
  w.skip = skip;
  const bool with_service = w.engine != nullptr && w.engine->lock().acquire() == util::checked_lock::outcome::acquired;
  // The guard encloses the walk and not the lock, which a fault would leave locked.
  const bool through = qxfl_run_guarded(with_service ? collect_frames : collect_frames_alone, &w);
  end_ = through ? w.next : begin();
  if (w.acquired) {
    qxfl_run_guarded(release_service, w.engine);
  }
  if (with_service) {
    w.engine->lock().unlock();
  }
}

}  // namespace foundation::core::diag

// The places from which a crash comes to us, what was there before, and who may install.
#include <fl/diag/terminate.hpp>

#include "common/windows/keep_loaded.hpp"
#include "common/windows/procedure.hpp"
#include "crash/windows/crash_process.hpp"
#include "crash/windows/stack_reserve.hpp"
#include "crash/windows/uncaught.hpp"
#include "windows/exclusive_lock.hpp"

#include <kit/crash_handler.hpp>

#include <windows.h>

#include <atomic>
#include <csignal>
#include <cstdlib>
#include <exception>
#include <functional>
#include <memory>
#include <utility>

namespace foundation::kit {

namespace {

using signal_handler = void (*)(int);

constexpr DWORD gnu_exception = 0x20474343;  ///< what the compiler's run-time throws C++ exceptions with
constexpr std::uint32_t abort_status = 3;
constexpr std::uint32_t fail_fast = 0xC0000409, invalid_run_time_argument = 0xC0000417;

/// What stood in a place. Stays known after the removal, for those who have kept the address of ours.
template <class Handler>
struct former_handler {
  std::atomic<Handler> next{nullptr};  ///< whom ours calls if there is nothing to report
  Handler found{nullptr};              ///< what is put back
  Handler successor{nullptr};          ///< who stood in the place of ours at a removal, and may call ours

  /// Ours takes the place of `there`. Neither itself, put back by one who had kept it, nor who may call it is whom ours
  /// calls.
  void replaced(Handler there, Handler ours) noexcept {
    if (there != ours) {
      found = there;
    }
    if (found != successor) {
      next = found;
    }
  }
};

struct former_handlers {
  former_handler<LPTOP_LEVEL_EXCEPTION_FILTER> filter;
  former_handler<std::terminate_handler> terminate;
  former_handler<signal_handler> abort;
  former_handler<_invalid_parameter_handler> invalid_parameter;
};

struct installation {
  explicit installation(const crash_handler_options& options)
      : targets(options), watches_parameters(options.invalid_parameters) {}

  crash_targets targets;
  bool watches_parameters;  ///< The options ask for it, and the run-time lets us.
  int holders = 1;          ///< 0: on its way out
};

constinit former_handlers former;
constinit installation* installed = nullptr;
constinit SRWLOCK guard = SRWLOCK_INIT;  ///< of what is installed; a crash does not take it

// The compiler's library has functions of these names in any case, a copy for each module, which do nothing where the
// run-time has none. Then there is no place for a handler, and an invalid parameter is none of its business.
#ifdef _UCRT
_invalid_parameter_handler set_invalid_parameter_handler(_invalid_parameter_handler handler) noexcept {
  return _set_invalid_parameter_handler(handler);
}
_invalid_parameter_handler get_invalid_parameter_handler() noexcept {
  return _get_invalid_parameter_handler();
}
#else
using get_handler = _invalid_parameter_handler (*)();
using set_handler = _invalid_parameter_handler (*)(_invalid_parameter_handler);

template <class Function>
Function find_in_run_time(const char* name) noexcept {
  return core::sysdep::windows::find_procedure<Function>(GetModuleHandleW(L"msvcrt.dll"), name);
}

_invalid_parameter_handler set_invalid_parameter_handler(_invalid_parameter_handler handler) noexcept {
  const auto set = find_in_run_time<set_handler>("_set_invalid_parameter_handler");
  return set != nullptr ? set(handler) : nullptr;
}
/// Null as well where the run-time has no such place.
_invalid_parameter_handler get_invalid_parameter_handler() noexcept {
  const auto get = find_in_run_time<get_handler>("_get_invalid_parameter_handler");
  return get != nullptr ? get() : nullptr;
}
#endif

LONG WINAPI on_fault(EXCEPTION_POINTERS* fault) {
  const EXCEPTION_RECORD& record = *fault->ExceptionRecord;
  // A C++ exception that nobody catches goes on to std::terminate when the run-time is told that nobody did.
  if (record.ExceptionCode == gnu_exception && (record.ExceptionFlags & EXCEPTION_NONCONTINUABLE) == 0) {
    return EXCEPTION_CONTINUE_EXECUTION;
  }
  end_crashed_process({crash_kind::fault, record.ExceptionCode, fault, nullptr});
  const auto before = former.filter.next.load();
  return before != nullptr ? before(fault) : EXCEPTION_CONTINUE_SEARCH;
}

[[noreturn]] void on_terminate() {
  end_crashed_process({crash_kind::terminate, fail_fast, nullptr, nullptr});
  if (const auto before = former.terminate.next.load()) {
    before();
  }
  std::abort();
}

void on_abort(int signal) {
  std::signal(SIGABRT, on_abort);  // The run-time has taken it out; the next one to abort is not to end the process.
  end_crashed_process({crash_kind::abort, abort_status, nullptr, nullptr});
  const auto before = former.abort.next.load();
  std::signal(SIGABRT, SIG_DFL);
  if (before != SIG_DFL && before != SIG_IGN) {
    before(signal);
  }
}

void on_invalid_parameter(const wchar_t* expression, const wchar_t* function, const wchar_t* file, unsigned line,
                          std::uintptr_t reserved) {
  char name[128];
  std::size_t length = 0;
  for (; function != nullptr && function[length] != L'\0' && length < sizeof name - 1; ++length) {
    name[length] = function[length] < 0x7F ? static_cast<char>(function[length]) : '?';
  }
  name[length] = '\0';
  end_crashed_process(
      {crash_kind::invalid_parameter, invalid_run_time_argument, nullptr, length != 0 ? name : nullptr});
  if (const auto before = former.invalid_parameter.next.load()) {
    before(expression, function, file, line, reserved);
  }
}

// Each puts what was there before back, if ours is still there.

void restore_filter() noexcept {
  if (const auto there = SetUnhandledExceptionFilter(former.filter.found); there != on_fault) {
    SetUnhandledExceptionFilter(there);
    former.filter.successor = there;
  }
}

void restore_terminate() noexcept {
  if (const auto there = std::get_terminate(); there != on_terminate) {
    former.terminate.successor = there;
  } else {
    std::set_terminate(former.terminate.found);
  }
}

void restore_abort() noexcept {
  if (const signal_handler there = std::signal(SIGABRT, former.abort.found); there != on_abort) {
    std::signal(SIGABRT, there);
    former.abort.successor = there;
  }
}

void restore_invalid_parameter() noexcept {
  if (const auto there = get_invalid_parameter_handler(); there != on_invalid_parameter) {
    former.invalid_parameter.successor = there;
  } else {
    set_invalid_parameter_handler(former.invalid_parameter.found);
  }
}

void put_handlers(installation& what) noexcept {
  former.filter.replaced(SetUnhandledExceptionFilter(on_fault), on_fault);
  former.terminate.replaced(std::set_terminate(on_terminate), on_terminate);
  former.abort.replaced(std::signal(SIGABRT, on_abort), on_abort);
  if (what.watches_parameters) {
    former.invalid_parameter.replaced(set_invalid_parameter_handler(on_invalid_parameter), on_invalid_parameter);
    what.watches_parameters = get_invalid_parameter_handler() == on_invalid_parameter;
  }
}

void restore_handlers(const installation& what) noexcept {
  if (what.watches_parameters) {
    restore_invalid_parameter();
  }
  restore_abort();
  restore_terminate();
  restore_filter();
}

hook_state state_of(bool ours) {
  return ours ? hook_state::active : hook_state::replaced;
}

hook_state look_at_filter() noexcept {
  const auto found = SetUnhandledExceptionFilter(on_fault);
  if (found != on_fault) {
    SetUnhandledExceptionFilter(found);
  }
  return state_of(found == on_fault);
}

hook_state look_at_abort() noexcept {
  const signal_handler found = std::signal(SIGABRT, on_abort);
  if (found != on_abort) {
    std::signal(SIGABRT, found);
  }
  return state_of(found == on_abort);
}

}  // namespace

namespace {

using crash_callback = std::function<void(const crash&)>;

/// The callback is swapped in, since copying and destroying it is not our business: it may ask for the handler.
void install(const crash_handler_options& options, crash_callback& callback) {
  auto made = std::make_unique<installation>(options);
  core::diag::disable_terminate_dialog();
  // Builds what reports: its log is a stream, and making one takes the run-time's lock of locales, which a thread that
  // has stopped in a crash may hold.
  core::diag::terminate_called();
  prepare_uncaught();
  set_stack_reserve(options.stack_reserve);
  // From now on others may know our functions, and call them even after the removal.
  core::sysdep::windows::keep_module_loaded();
  made->targets.callback.swap(callback);
  open_crash_process(made->targets);
  put_handlers(*made);
  installed = made.release();
}

enum class holding { first, another, not_yet };

holding hold(const crash_handler_options& options, crash_callback& callback) {
  const exclusive_lock lock(guard);
  if (installed == nullptr) {
    install(options, callback);
    return holding::first;
  }
  if (installed->holders == 0) {
    return holding::not_yet;
  }
  ++installed->holders;
  return holding::another;
}

/// Whether it was the last holder.
bool let_go() noexcept {
  const exclusive_lock lock(guard);
  return --installed->holders == 0;
}

}  // namespace

crash_handler install_crash_handler(const crash_handler_options& options) {
  crash_callback callback = options.callback;
  holding outcome = hold(options, callback);
  while (outcome == holding::not_yet) {  // Another thread removes the one that there is.
    Sleep(1);
    outcome = hold(options, callback);
  }
  return crash_handler(outcome == holding::first);
}

crash_handler::crash_handler(crash_handler&& other) noexcept
    : installed_(std::exchange(other.installed_, false)), in_force_(other.in_force_) {}

crash_handler& crash_handler::operator=(crash_handler&& other) noexcept {
  if (this != &other) {
    uninstall();
    installed_ = std::exchange(other.installed_, false);
    in_force_ = other.in_force_;
  }
  return *this;
}

crash_handler::~crash_handler() {
  uninstall();
}

void crash_handler::uninstall() noexcept {
  if (!std::exchange(installed_, false) || !let_go()) {
    return;
  }
  const bool closed = close_crash_process();
  std::unique_ptr<installation> removed;  // behind the lock
  const exclusive_lock lock(guard);
  if (!closed) {
    ++installed->holders;  // The program's own callback is ending the process.
    return;
  }
  restore_handlers(*installed);
  set_stack_reserve(0);
  removed.reset(std::exchange(installed, nullptr));
}

crash_handler_status look_at_crash_handler() noexcept {
  const exclusive_lock lock(guard);
  crash_handler_status status{};
  if (installed == nullptr) {
    return status;
  }
  status.faults = look_at_filter();
  status.terminate = state_of(std::get_terminate() == on_terminate);
  status.abort = look_at_abort();
  if (installed->watches_parameters) {
    status.invalid_parameters = state_of(get_invalid_parameter_handler() == on_invalid_parameter);
  }
  if (installed->targets.dump) {
    status.dump = state_of(installed->targets.dump->waits());
  }
  return status;
}

bool crash_handler_is_active() noexcept {
  const crash_handler_status found = look_at_crash_handler();
  const auto in_order = [](hook_state state) { return state != hook_state::replaced; };
  return found.faults == hook_state::active && found.terminate == hook_state::active &&
         found.abort == hook_state::active && in_order(found.invalid_parameters) && in_order(found.dump);
}

bool reserve_stack_for_crash_report() noexcept {
  return reserve_stack();
}

}  // namespace foundation::kit

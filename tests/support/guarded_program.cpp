#include "guarded_program.hpp"

#include "every_test.hpp"
#include "import_patch.hpp"
#include "support.hpp"
#include "test_main.hpp"

#include <boost/core/demangle.hpp>

#include <windows.h>
#include <dbghelp.h>

#include <csignal>
#include <cstdio>

namespace test_support {

namespace {

/// Prints the stack of a thread, this one or one that stands still, from where `context` says.
void print_stack(HANDLE thread, CONTEXT context) {
  const HANDLE self = ::GetCurrentProcess();
  STACKFRAME64 frame{};
  frame.AddrPC = {context.Rip, 0, AddrModeFlat};
  frame.AddrStack = {context.Rsp, 0, AddrModeFlat};
  frame.AddrFrame = {context.Rbp, 0, AddrModeFlat};
  while (::StackWalk64(IMAGE_FILE_MACHINE_AMD64, self, thread, &frame, &context, nullptr, ::SymFunctionTableAccess64,
                       ::SymGetModuleBase64, nullptr) &&
         frame.AddrPC.Offset != 0) {
    struct {
      SYMBOL_INFO info;
      char more_name[1023];
    } symbol{};
    symbol.info.SizeOfStruct = sizeof symbol.info;
    symbol.info.MaxNameLen = sizeof symbol.more_name;
    ::SymFromAddr(self, frame.AddrPC.Offset, nullptr, &symbol.info);
    IMAGEHLP_LINE64 line{};
    line.SizeOfStruct = sizeof line;
    DWORD column = 0;
    ::SymGetLineFromAddr64(self, frame.AddrPC.Offset, &column, &line);
    std::fprintf(stderr, "  0x%llx %s (%s:%lu)\n", static_cast<unsigned long long>(frame.AddrPC.Offset),
                 boost::core::demangle(symbol.info.Name).c_str(), line.FileName != nullptr ? line.FileName : "",
                 line.LineNumber);
  }
}

void print_other_threads() {
  for (const DWORD id : thread_ids()) {
    if (id != ::GetCurrentThreadId()) {
      const HANDLE thread = ::OpenThread(THREAD_SUSPEND_RESUME | THREAD_GET_CONTEXT, FALSE, id);
      CONTEXT context{};
      context.ContextFlags = CONTEXT_FULL;
      ::SuspendThread(thread);
      ::GetThreadContext(thread, &context);
      std::fprintf(stderr, "thread %lu\n", id);
      print_stack(thread, context);
    }
  }
}

/// Takes the turn to report for this thread, for good: the process must end behind it. Another thread that asks waits
/// for that half a minute at most, since a lock held at the time of the fault may block the report; the same thread
/// asks again because the report itself failed. Both then end the process.
void begin_report(unsigned exit_code) {
  static std::atomic<DWORD> reporter{0};
  DWORD former = 0;
  if (!reporter.compare_exchange_strong(former, ::GetCurrentThreadId())) {
    ::Sleep(former == ::GetCurrentThreadId() ? 0 : 30000);
    ::TerminateProcess(::GetCurrentProcess(), exit_code);
  }
  ::SymSetOptions(SYMOPT_DEFERRED_LOADS | SYMOPT_LOAD_LINES | SYMOPT_FAIL_CRITICAL_ERRORS);
  ::SymInitialize(::GetCurrentProcess(), nullptr, TRUE);
}

DWORD WINAPI print_and_end(void* context) {
  print_stack(::GetCurrentThread(), *static_cast<const CONTEXT*>(context));
  ::TerminateProcess(::GetCurrentProcess(), crash_exit_code);
  return 0;
}

LONG WINAPI report_exception(EXCEPTION_POINTERS* exception) {
  constexpr DWORD cxx_exception = 0x20474343;
  const EXCEPTION_RECORD& record = *exception->ExceptionRecord;
  // A C++ exception that no frame wants: going on leads to std::terminate, which tells its type and text.
  if (record.ExceptionCode == cxx_exception && (record.ExceptionFlags & EXCEPTION_NONCONTINUABLE) == 0) {
    return EXCEPTION_CONTINUE_EXECUTION;
  }
  begin_report(crash_exit_code);
  std::fprintf(stderr, "\ncrash: exception 0x%08lx at %p, perhaps for 0x%llx, thread %lu\n", record.ExceptionCode,
               record.ExceptionAddress, static_cast<unsigned long long>(record.ExceptionInformation[1]),
               ::GetCurrentThreadId());
  // Reading debug information takes more stack than a thread has left that used it up.
  if (record.ExceptionCode == EXCEPTION_STACK_OVERFLOW) {
    ::CreateThread(nullptr, 0, print_and_end, exception->ContextRecord, 0, nullptr);
    ::Sleep(INFINITE);
  }
  print_and_end(exception->ContextRecord);
  return EXCEPTION_EXECUTE_HANDLER;
}

void report_abort(int) {
  begin_report(abort_exit_code);
  std::fprintf(stderr, "\ncrash: abort, thread %lu\n", ::GetCurrentThreadId());
  CONTEXT context{};
  ::RtlCaptureContext(&context);
  print_stack(::GetCurrentThread(), context);
  ::TerminateProcess(::GetCurrentProcess(), abort_exit_code);
}

template <class... Arguments>
void retry_refused_launches(const char* module, const char* name, BOOL (*)(Arguments...)) {
  static constinit std::atomic<import_patch::any_function> original = nullptr;
  const auto create = [](Arguments... arguments) {
    const auto create_once = reinterpret_cast<BOOL (*)(Arguments...)>(original.load());
    BOOL made = create_once(arguments...);
    for (int retries = 0; !made && ::GetLastError() == ERROR_INTERNAL_ERROR && retries != 3; ++retries) {
      made = create_once(arguments...);
    }
    return made;
  };
  try {
    new import_patch(module, name, reinterpret_cast<import_patch::any_function>(+create), original);
  } catch (const std::runtime_error&) {
    // This module is not part of the program, or starts nothing.
  }
}

const HANDLE progress = ::CreateEventW(nullptr, FALSE, FALSE, nullptr);

DWORD WINAPI watch(void* limit_ms) {
  const auto limit = static_cast<DWORD>(reinterpret_cast<std::uintptr_t>(limit_ms));
  while (::WaitForSingleObject(progress, limit) == WAIT_OBJECT_0) {
  }
  begin_report(hang_exit_code);
  std::fprintf(stderr, "\nhang: a test, or what follows it, ran longer than %lu s\n", limit / 1000);
  print_other_threads();
  ::TerminateProcess(::GetCurrentProcess(), hang_exit_code);
  return 0;
}

}  // namespace

void install_fault_reports() {
  ::SetErrorMode(SEM_FAILCRITICALERRORS | SEM_NOGPFAULTERRORBOX | SEM_NOOPENFILEERRORBOX);
  ::_set_error_mode(_OUT_TO_STDERR);
  // What is left to report an overflow of the main thread's stack with.
  ULONG reserve = 64 * 1024;
  ::SetThreadStackGuarantee(&reserve);
  ::SetUnhandledExceptionFilter(report_exception);
  std::signal(SIGABRT, report_abort);
}

void retry_refused_launches() {
  retry_refused_launches(nullptr, "CreateProcessW", &::CreateProcessW);
  retry_refused_launches("libqxfl.dll", "CreateProcessW", &::CreateProcessW);
  retry_refused_launches(nullptr, "CreateProcessA", &::CreateProcessA);  // by EXPECT_EXIT
}

// The thread is the system's, not the run-time's: tests take memory away, and that one allocates when it begins.
void begin_watch(int limit_s) {
  ::CreateThread(nullptr, 0, watch, reinterpret_cast<void*>(limit_s * 1000LL), 0, nullptr);
}

void tell_progress() noexcept {
  ::SetEvent(progress);
}

}  // namespace test_support

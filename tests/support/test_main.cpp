// The main function of the test programs on Windows: a crash prints its stack, and a test that hangs is ended with the
// stacks of all threads. QXFL_TEST_TIMEOUT is the longest time of one test in seconds (90 unless set); 0 lets tests run
// for ever, for debugging.
#include "test_main.hpp"

#include "refused_launches.hpp"
#include "support.hpp"

#include <boost/core/demangle.hpp>
#include <gtest/gtest.h>

#include <windows.h>
#include <dbghelp.h>

#include <array>
#include <atomic>
#include <csignal>
#include <cstddef>
#include <cstdint>
#include <cstdio>
#include <cstdlib>

namespace {

using namespace test_support;

// ---- stacks, by other means than the library's: that is under test, and tests break it on purpose ----

/// Program counters, innermost first, up to a null.
using frames = std::array<DWORD64, 64>;

/// Unwinds without the symbol service, whose own walk may need a lock that a suspended thread holds.
frames gather(CONTEXT context) {
  frames found{};
  // Words of the stack that may be skipped to leave innermost code without unwind data: a call through a bad pointer, a
  // function that keeps no frame, and the compiler's stack probe, which has saved two registers when the stack ends.
  int skips = 3;
  for (std::size_t count = 0; count + 1 != found.size();) {
    DWORD64 base = 0, frame = 0;
    void* handler_data = nullptr;
    if (const auto function = ::RtlLookupFunctionEntry(context.Rip, &base, nullptr)) {
      found[count++] = context.Rip;
      ::RtlVirtualUnwind(UNW_FLAG_NHANDLER, base, context.Rip, function, &context, &handler_data, &frame, nullptr);
    } else if (count == 0 && skips-- != 0) {
      const auto top = reinterpret_cast<const void*>(context.Rsp);
      ::ReadProcessMemory(::GetCurrentProcess(), top, &context.Rip, sizeof context.Rip, nullptr);
      context.Rsp += sizeof context.Rip;
    } else {
      break;
    }
  }
  return found;
}

void load_symbols() {
  ::SymSetOptions(SYMOPT_DEFERRED_LOADS | SYMOPT_LOAD_LINES | SYMOPT_FAIL_CRITICAL_ERRORS);
  ::SymInitialize(::GetCurrentProcess(), nullptr, TRUE);
}

/// "module+0x1234", which is right also where no symbols are, then the function and the line, as far as known.
void print(DWORD64 address) {
  const HANDLE self = ::GetCurrentProcess();
  IMAGEHLP_MODULE64 module{};
  module.SizeOfStruct = sizeof module;
  ::SymGetModuleInfo64(self, address, &module);
  struct {
    SYMBOL_INFO info;
    char more_name[1023];
  } symbol{};
  symbol.info.SizeOfStruct = sizeof symbol.info;
  symbol.info.MaxNameLen = sizeof symbol.more_name;
  ::SymFromAddr(self, address, nullptr, &symbol.info);
  IMAGEHLP_LINE64 line{};
  line.SizeOfStruct = sizeof line;
  DWORD column = 0;
  ::SymGetLineFromAddr64(self, address, &column, &line);
  std::fprintf(stderr, "  %s+0x%llx %s (%s:%lu)\n", module.ModuleName,
               static_cast<unsigned long long>(address - module.BaseOfImage),
               boost::core::demangle(symbol.info.Name).c_str(), line.FileName != nullptr ? line.FileName : "",
               line.LineNumber);
}

void print(const frames& found) {
  for (std::size_t at = 0; found[at] != 0; ++at) {
    // A return address can lie behind the last instruction of a function that ends in a call.
    print(found[at] - (at == 0 ? 0 : 1));
  }
}

/// Prints the stack that `context`, of this thread or one that stands still, is in.
void dump_stack(const CONTEXT& context) {
  load_symbols();
  print(gather(context));
}

/// Prints the stacks of all threads but this one; each is suspended while its addresses are gathered, but not while
/// they are turned into names.
void dump_other_threads() {
  load_symbols();
  for (const DWORD id : thread_ids()) {
    if (id == ::GetCurrentThreadId()) {
      continue;
    }
    const HANDLE thread = ::OpenThread(THREAD_SUSPEND_RESUME | THREAD_GET_CONTEXT, FALSE, id);
    CONTEXT context{};
    context.ContextFlags = CONTEXT_FULL;
    ::SuspendThread(thread);
    const frames found = ::GetThreadContext(thread, &context) ? gather(context) : frames{};
    ::ResumeThread(thread);
    std::fprintf(stderr, "thread %lu\n", id);
    print(found);
  }
}

// ---- reports ----

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
}

DWORD WINAPI dump_and_end(void* context) {
  dump_stack(*static_cast<const CONTEXT*>(context));
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
    ::CreateThread(nullptr, 0, dump_and_end, exception->ContextRecord, 0, nullptr);
    ::Sleep(INFINITE);
  }
  dump_and_end(exception->ContextRecord);
  return EXCEPTION_EXECUTE_HANDLER;
}

void report_abort(int) {
  begin_report(abort_exit_code);
  std::fprintf(stderr, "\ncrash: abort, thread %lu\n", ::GetCurrentThreadId());
  CONTEXT context{};
  ::RtlCaptureContext(&context);
  dump_stack(context);
  ::TerminateProcess(::GetCurrentProcess(), abort_exit_code);
}

/// From the start of the program on: only what nobody wanted is reported, and no dialog of the system or the C run-time
/// is shown, which nobody would answer.
void install_fault_reports() {
  ::SetErrorMode(SEM_FAILCRITICALERRORS | SEM_NOGPFAULTERRORBOX | SEM_NOOPENFILEERRORBOX);
  ::_set_error_mode(_OUT_TO_STDERR);
  // What is left to report an overflow of the main thread's stack with.
  ULONG reserve = 64 * 1024;
  ::SetThreadStackGuarantee(&reserve);
  ::SetUnhandledExceptionFilter(report_exception);
  std::signal(SIGABRT, report_abort);
}

/// Ends the program when nothing begins for a while: fixtures and exit handlers can hang too. The stacks and the
/// last line of GoogleTest's own name the test.
class watchdog : public testing::EmptyTestEventListener {
 public:
  /// The thread is the system's, not the run-time's: tests take memory away, and that one allocates when it begins.
  explicit watchdog(int limit_s) {
    ::CreateThread(nullptr, 0, watch, reinterpret_cast<void*>(limit_s * 1000LL), 0, nullptr);
  }

 private:
  void OnTestStart(const testing::TestInfo&) override { ::SetEvent(progress_); }
  void OnTestEnd(const testing::TestInfo&) override { ::SetEvent(progress_); }
  void OnTestProgramEnd(const testing::UnitTest&) override { ::SetEvent(progress_); }

  static DWORD WINAPI watch(void* limit_ms) {
    const auto limit = static_cast<DWORD>(reinterpret_cast<std::uintptr_t>(limit_ms));
    while (::WaitForSingleObject(progress_, limit) == WAIT_OBJECT_0) {
    }
    begin_report(hang_exit_code);
    std::fprintf(stderr, "\nhang: a test, or what follows it, ran longer than %lu s\n", limit / 1000);
    dump_other_threads();
    ::TerminateProcess(::GetCurrentProcess(), hang_exit_code);
    return 0;
  }

  static inline const HANDLE progress_ = ::CreateEventW(nullptr, FALSE, FALSE, nullptr);
};

}  // namespace

int main(int count, char** arguments) {
  // Nothing may be waiting in a buffer when the process is ended the hard way.
  std::setvbuf(stdout, nullptr, _IONBF, 0);
  std::setvbuf(stderr, nullptr, _IONBF, 0);
  install_fault_reports();
  retry_launches_that_wine_refuses();
  testing::InitGoogleTest(&count, arguments);
  const char* const limit = std::getenv("QXFL_TEST_TIMEOUT");
  if (const int limit_s = limit != nullptr ? std::atoi(limit) : 90) {
    testing::UnitTest::GetInstance()->listeners().Append(new watchdog(limit_s));
  }
  return RUN_ALL_TESTS();
}

// The main function of the test programs on Windows: a crash prints its stack, and a test that hangs is ended with the
// stacks of all threads. QXFL_TEST_TIMEOUT is the longest time of one test in seconds (90 unless set); 0 lets tests run
// for ever, for debugging.
#include "test_main.hpp"

#include "refused_launches.hpp"
#include "stack_dump.hpp"

#include <gtest/gtest.h>

#include <windows.h>

#include <atomic>
#include <csignal>
#include <cstdio>
#include <cstdlib>
#include <thread>

namespace {

using namespace test_support;

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

/// Ends the program when nothing begins for a while: fixtures and exit handlers can hang too. GoogleTest deletes its
/// listeners before the last of those; what the watching thread uses stays.
class watchdog : public testing::EmptyTestEventListener {
 public:
  explicit watchdog(unsigned limit_s) { std::thread(watch, limit_s).detach(); }

 private:
  void OnTestStart(const testing::TestInfo& test) override {
    latest_ = &test;
    ::SetEvent(progress_);
  }
  void OnTestEnd(const testing::TestInfo&) override { ::SetEvent(progress_); }
  void OnTestProgramEnd(const testing::UnitTest&) override { ::SetEvent(progress_); }

  static void watch(unsigned limit_s) {
    while (::WaitForSingleObject(progress_, limit_s * 1000) == WAIT_OBJECT_0) {
    }
    begin_report(hang_exit_code);
    const testing::TestInfo* const test = latest_;
    std::fprintf(stderr, "\nhang: %s.%s, or what follows it, ran longer than %u s\n",
                 test ? test->test_suite_name() : "", test ? test->name() : "(start)", limit_s);
    dump_other_threads();
    ::TerminateProcess(::GetCurrentProcess(), hang_exit_code);
  }

  static inline const HANDLE progress_ = ::CreateEventW(nullptr, FALSE, FALSE, nullptr);
  static inline std::atomic<const testing::TestInfo*> latest_{nullptr};  ///< Runs or ran last. Null before the first.
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
    testing::UnitTest::GetInstance()->listeners().Append(new watchdog(static_cast<unsigned>(limit_s)));
  }
  return RUN_ALL_TESTS();
}

#include "fault_report.hpp"

#include "stack_dump.hpp"

#include <boost/core/demangle.hpp>

#include <windows.h>
#include <cxxabi.h>

#include <csignal>
#include <cstdlib>
#include <exception>
#include <typeinfo>

namespace test_support {
namespace {

// What this compiler raises for a C++ exception.
constexpr DWORD cxx_exception = 0x20474343;

DWORD WINAPI dump_on_fresh_stack(void* context) {
  dump_stack(*static_cast<const CONTEXT*>(context));
  return 0;
}

LONG WINAPI report_exception(EXCEPTION_POINTERS* exception) {
  const EXCEPTION_RECORD& record = *exception->ExceptionRecord;
  // A C++ exception that no frame wants: going on leads to std::terminate, which knows its type.
  if (record.ExceptionCode == cxx_exception && (record.ExceptionFlags & EXCEPTION_NONCONTINUABLE) == 0) {
    return EXCEPTION_CONTINUE_EXECUTION;
  }
  begin_report(crash_exit_code);
  report("\ncrash: exception 0x%08lx at %p", record.ExceptionCode, record.ExceptionAddress);
  if (record.ExceptionCode == EXCEPTION_ACCESS_VIOLATION) {
    report(", %s 0x%llx", record.ExceptionInformation[0] == 0 ? "reading" : "writing or executing",
           static_cast<unsigned long long>(record.ExceptionInformation[1]));
  }
  report(", thread %lu\n", ::GetCurrentThreadId());
  // Reading debug information takes more stack than a thread has left that used it up.
  if (record.ExceptionCode == EXCEPTION_STACK_OVERFLOW) {
    ::WaitForSingleObject(::CreateThread(nullptr, 0, dump_on_fresh_stack, exception->ContextRecord, 0, nullptr),
                          INFINITE);
  } else {
    dump_stack(*exception->ContextRecord);
  }
  ::TerminateProcess(::GetCurrentProcess(), crash_exit_code);
  return EXCEPTION_EXECUTE_HANDLER;
}

// Says why, and the type and the text of the exception that nobody caught, if there is one.
[[noreturn]] void report_here(const char* reason) {
  begin_report(abort_exit_code);
  report("\ncrash: %s was called, thread %lu\n", reason, ::GetCurrentThreadId());
  if (const std::type_info* type = abi::__cxa_current_exception_type()) {
    report("  exception: %s\n", boost::core::demangle(type->name()).c_str());
    try {
      throw;
    } catch (const std::exception& failure) {
      report("  text: %s\n", failure.what());
    } catch (...) {
      report("  not a std::exception\n");
    }
  }
  CONTEXT context{};
  ::RtlCaptureContext(&context);
  dump_stack(context);
  ::TerminateProcess(::GetCurrentProcess(), abort_exit_code);
  std::_Exit(abort_exit_code);
}

}  // namespace

void install_fault_reports() {
  ::SetErrorMode(SEM_FAILCRITICALERRORS | SEM_NOGPFAULTERRORBOX | SEM_NOOPENFILEERRORBOX);
  ::_set_error_mode(_OUT_TO_STDERR);
  // What is left to report an overflow of the main thread's stack with.
  ULONG reserve = 64 * 1024;
  ::SetThreadStackGuarantee(&reserve);
  ::SetUnhandledExceptionFilter(report_exception);
  std::set_terminate([] { report_here("std::terminate"); });
  std::signal(SIGABRT, [](int) { report_here("abort"); });
}

}  // namespace test_support

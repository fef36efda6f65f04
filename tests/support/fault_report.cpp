#include "fault_report.hpp"

#include <windows.h>

#include <cxxabi.h>

#include <csignal>
#include <cstdlib>
#include <exception>
#include <initializer_list>
#include <typeinfo>

#include "stack_dump.hpp"

namespace test_support {
namespace {

// What this compiler raises for a C++ exception.
constexpr DWORD cxx_exception = 0x20474343;

DWORD WINAPI dump_on_fresh_stack(void* context) {
  dump_stack(*static_cast<const CONTEXT*>(context), ::GetCurrentThread());
  return 0;
}

// Reading debug information takes more stack than a thread has left that used it up.
void dump_from_another_thread(CONTEXT& context) {
  if (const HANDLE thread = ::CreateThread(nullptr, 0, dump_on_fresh_stack, &context, 0, nullptr))
    ::WaitForSingleObject(thread, INFINITE);
}

LONG WINAPI report_exception(EXCEPTION_POINTERS* exception) {
  const EXCEPTION_RECORD& record = *exception->ExceptionRecord;
  // A C++ exception that no frame wants: going on leads to std::terminate, which knows its type.
  if (record.ExceptionCode == cxx_exception && (record.ExceptionFlags & EXCEPTION_NONCONTINUABLE) == 0)
    return EXCEPTION_CONTINUE_EXECUTION;
  begin_report(crash_exit_code);
  report("\ncrash: exception 0x%08lx at %p", record.ExceptionCode, record.ExceptionAddress);
  if (record.ExceptionCode == EXCEPTION_ACCESS_VIOLATION)
    report(", %s 0x%llx", record.ExceptionInformation[0] == 0 ? "reading" : "writing or executing",
           static_cast<unsigned long long>(record.ExceptionInformation[1]));
  report(", thread %lu\n", ::GetCurrentThreadId());
  if (record.ExceptionCode == EXCEPTION_STACK_OVERFLOW)
    dump_from_another_thread(*exception->ContextRecord);
  else
    dump_stack(*exception->ContextRecord, ::GetCurrentThread());
  ::TerminateProcess(::GetCurrentProcess(), crash_exit_code);
  return EXCEPTION_EXECUTE_HANDLER;
}

void report_here(const char* reason) {
  begin_report(abort_exit_code);
  report("\n%s, thread %lu\n", reason, ::GetCurrentThreadId());
}

[[noreturn]] void dump_and_end() {
  CONTEXT context{};
  ::RtlCaptureContext(&context);
  dump_stack(context, ::GetCurrentThread());
  ::TerminateProcess(::GetCurrentProcess(), abort_exit_code);
  std::_Exit(abort_exit_code);
}

void report_text_of_current_exception() {
  try {
    throw;
  } catch (const std::exception& failure) {
    report("  text: %s\n", failure.what());
  } catch (...) {
    report("  not a std::exception\n");
  }
}

[[noreturn]] void report_terminate() {
  report_here("crash: std::terminate was called");
  if (const std::type_info* type = abi::__cxa_current_exception_type()) {
    int status = 0;
    char* const readable = abi::__cxa_demangle(type->name(), nullptr, nullptr, &status);
    report("  exception: %s\n", readable ? readable : type->name());
    std::free(readable);
    report_text_of_current_exception();
  }
  dump_and_end();
}

void report_abort(int) {
  report_here("crash: abort was called");
  dump_and_end();
}

}  // namespace

void install_fault_reports() {
  // What is left to report an overflow of the main thread's stack with.
  ULONG reserve = 64 * 1024;
  ::SetThreadStackGuarantee(&reserve);
  ::SetUnhandledExceptionFilter(report_exception);
  std::set_terminate(report_terminate);
  std::signal(SIGABRT, report_abort);
}

void disable_error_dialogs() {
  ::SetErrorMode(SEM_FAILCRITICALERRORS | SEM_NOGPFAULTERRORBOX | SEM_NOOPENFILEERRORBOX);
  // The older C run-time does not have this function, so it cannot be linked.
  using set_abort_behavior = unsigned(unsigned flags, unsigned mask);
  constexpr unsigned message_and_fault_report = 1 | 4;
  for (const wchar_t* runtime : {L"ucrtbase.dll", L"msvcrt.dll"})
    if (const HMODULE module = ::GetModuleHandleW(runtime))
      if (void* const found = reinterpret_cast<void*>(::GetProcAddress(module, "_set_abort_behavior")))
        reinterpret_cast<set_abort_behavior*>(found)(0, message_and_fault_report);
  ::_set_error_mode(_OUT_TO_STDERR);
}

}  // namespace test_support

// A program that reports how it died: it installs a handler for faults and one for SIGABRT, and then runs into an
// access violation three calls deep, or with --assert into a fatal error of its own. Both ends leave a report with
// registers and stack on standard error.
#include <fl/diag.hpp>

#include <windows.h>

#include <csignal>
#include <cstdio>
#include <cstring>

namespace diag = foundation::core::diag;

namespace {

constexpr int crash_status = 3;  // As that of abort.

const char* const usage_text =
    "usage: crash_report [--assert]\n"
    "\n"
    "Runs into an access violation, and writes a report of it to standard error.\n"
    "\n"
    "  --assert  finds a fatal error by itself instead\n"
    "\n"
    "exit status: 3\n";

const char* name_of(DWORD fault) {
  switch (fault) {
    case EXCEPTION_ACCESS_VIOLATION:
      return "access violation";
    case EXCEPTION_INT_DIVIDE_BY_ZERO:
      return "division by zero";
    case EXCEPTION_ILLEGAL_INSTRUCTION:
      return "illegal instruction";
    case EXCEPTION_STACK_OVERFLOW:
      return "stack overflow";
    default:
      return "unexpected fault";
  }
}

DWORD WINAPI write_report(void* fault) {
  const auto& pointers = *static_cast<const EXCEPTION_POINTERS*>(fault);
  std::fputs(diag::terminate_log(name_of(pointers.ExceptionRecord->ExceptionCode), &pointers), stderr);
  std::fflush(stderr);  // The end comes without.
  return 0;
}

LONG WINAPI on_fault(EXCEPTION_POINTERS* fault) {
  // An uncaught C++ exception passes here too. It goes on to std::terminate.
  constexpr DWORD cxx_exception = 0x20474343;
  const DWORD code = fault->ExceptionRecord->ExceptionCode;
  if (code == cxx_exception) {
    return EXCEPTION_CONTINUE_EXECUTION;
  }
  if (code == EXCEPTION_STACK_OVERFLOW) {  // A report wants more stack than is left.
    WaitForSingleObject(CreateThread(nullptr, 0, write_report, fault, 0, nullptr), INFINITE);
  } else {
    write_report(fault);
  }
  foundation::core::app::fast_exit(crash_status);
}

// A call of diag::terminate ends in abort, when its message is already on standard error.
void on_abort(int) {
  std::fputs(diag::terminate_log(), stderr);
}

// The attribute keeps the calls as they are written: an optimiser would make one of them.
struct city {
  const city* next;
  int distance;
};

[[gnu::noipa]] int distance_of(const city* place) {
  return place->distance;  // Nobody has asked whether there is a next city.
}

[[gnu::noipa]] int length_of(const city& start) {
  return start.distance + distance_of(start.next);
}

[[gnu::noipa]] int plan_route() {
  const city only_one{nullptr, 7};
  return length_of(only_one) + 1;
}

}  // namespace

int main(int argc, char** argv) {
  const auto is_given = [&](const char* word) { return argc > 1 && std::strcmp(argv[1], word) == 0; };
  if (is_given("--help")) {
    std::fputs(usage_text, stdout);
    return 0;
  }
  ULONG reserve = 65536;  // What the handler may use of a stack that has overflowed, in bytes.
  SetThreadStackGuarantee(&reserve);
  SetUnhandledExceptionFilter(on_fault);
  std::signal(SIGABRT, on_abort);
  diag::disable_terminate_dialog();
  diag::setCurrentThreadName("planner");
  if (is_given("--assert")) {
    diag::terminate("the route leads nowhere", __FILE__, __LINE__, __PRETTY_FUNCTION__);
  }
  std::printf("the route is %d long\n", plan_route());
}

// Ways for a process to end, each seen from outside by terminate_crash_test: diag_child MODE. Reports go to standard
// error.

#include <fl/diag.hpp>
#include <fl/process/mock_process.hpp>
#include <foundation_log/logger.hpp>

#include "import_patch.hpp"
#include "memory_shortage.hpp"
#include "support.hpp"

#include <windows.h>
#include <dbghelp.h>

#include <atomic>
#include <cassert>
#include <csignal>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <exception>
#include <ostream>
#include <stdexcept>
#include <string>
#include <string_view>
#include <thread>

namespace {

namespace diag = foundation::core::diag;
using foundation::core::process::mock_process;
using test_support::import_patch;

constexpr int crash_status = 99;

/// Straight to the handle: nothing may wait in a buffer when the process ends.
void print(std::string_view text) {
  DWORD put = 0;
  WriteFile(GetStdHandle(STD_ERROR_HANDLE), text.data(), static_cast<DWORD>(text.size()), &put, nullptr);
}

void report_fault(const EXCEPTION_POINTERS* fault) {
  print(diag::terminate_log("fault", fault));
  foundation::core::app::fast_exit(crash_status);
}

// The fault of a stack that is used up is reported by a thread that waits from the start: there is no room to start one
// then.
const HANDLE stack_is_used_up = CreateEventW(nullptr, FALSE, FALSE, nullptr);
const EXCEPTION_POINTERS* volatile fault_of_stack = nullptr;

DWORD WINAPI report_overflow(void*) {
  WaitForSingleObject(stack_is_used_up, INFINITE);
  report_fault(fault_of_stack);
  return 0;
}

LONG WINAPI on_fault(EXCEPTION_POINTERS* fault) {
  constexpr DWORD cxx_exception = 0x20474343;
  if (fault->ExceptionRecord->ExceptionCode == cxx_exception) {
    return EXCEPTION_CONTINUE_EXECUTION;
  }
  if (fault->ExceptionRecord->ExceptionCode != EXCEPTION_STACK_OVERFLOW) {
    report_fault(fault);
  }
  fault_of_stack = fault;
  SetEvent(stack_is_used_up);
  Sleep(INFINITE);
  return EXCEPTION_EXECUTE_HANDLER;
}

void on_abort(int) {
  print(diag::terminate_log());
}

volatile int zero = 0;
int* volatile null_pointer = nullptr;

[[gnu::noipa]] void fault_here() {
  *null_pointer = 1;
}

/// Touches the stack ahead, as the compiler's own probe does before a large frame. So the fault comes while there is
/// still room for a handler, whatever guarantee a thread has asked for: Wine knows none.
[[gnu::noipa]] int recurse(int depth) {
  volatile char room[1000] = {};
  asm volatile("orq $0, -16384(%%rsp)" : : : "memory", "cc");
  return zero == 1 ? 0 : recurse(depth + 1) + room[depth % 1000];
}

void overflow() {
  ULONG bytes = 16384;
  SetThreadStackGuarantee(&bytes);
  recurse(0);
}

[[noreturn]] void on_terminate() {
  const char* const name = diag::unknown_exception_name();
  diag::terminate(name != nullptr ? name : "no exception", "diag_child.cpp", 1, "terminate handler");
}

// The modes below replace the final stage, to look at the process before it ends.

std::atomic<import_patch::any_function> original{nullptr}, find_symbol{nullptr};

/// The clock of threads that wait for another one. It stands still until that one is in the symbol service; from then
/// on a second goes by with each look, up to two minutes.
constexpr ULONGLONG last_second = 120;
std::atomic<ULONGLONG> seconds{0};
std::atomic<bool> in_service{false};

ULONGLONG WINAPI look_at_clock() {
  return (in_service && seconds < last_second ? ++seconds : seconds.load()) * 1000;
}

void (*work_in_service)();

BOOL WINAPI interrupted_find_symbol(HANDLE process, DWORD64 address, DWORD64* distance, SYMBOL_INFO* symbol) {
  in_service = true;
  work_in_service();
  return reinterpret_cast<decltype(&SymFromAddr)>(find_symbol.load())(process, address, distance, symbol);
}

/// From now on `work` runs whenever a symbol is looked for, and other threads wait for that by the clock above.
void interrupt_symbol_service(void (*work)()) {
  work_in_service = work;
  static const import_patch clock("libqxfl.dll", "GetTickCount64",
                                  reinterpret_cast<import_patch::any_function>(look_at_clock), original);
  static const import_patch service("libqxfl.dll", "SymFromAddr",
                                    reinterpret_cast<import_patch::any_function>(interrupted_find_symbol), find_symbol);
}

void terminate_interrupted_by(void (*work)()) {
  interrupt_symbol_service(work);
  diag::terminate("message", "diag_child.cpp", 4, "f");
}

/// The first thread to arrive prints the log.
void at_final_stage(const wchar_t*, const wchar_t*, unsigned) {
  static std::atomic<bool> anybody{false};
  if (anybody.exchange(true)) {
    Sleep(INFINITE);
  }
  print(test_support::take_refused_allocations() == 0 ? "nothing allocated\n" : "allocated\n");
  print(diag::terminate_called() ? diag::terminate_log() : "not called");
  foundation::core::app::fast_exit(crash_status);
}

constexpr int threads = 4;
std::atomic<int> named{0};
std::atomic<bool> memory_taken{false};

/// A thread that has never thrown, and that the run-time has made nothing for.
DWORD WINAPI terminate_without_memory(void* number) {
  const auto digit = static_cast<char16_t>(u'0' + reinterpret_cast<std::uintptr_t>(number));
  diag::setCurrentThreadName("thread " + std::to_string(digit - u'0'));
  const char16_t message[] = {u'n', u'\u00F3', u' ', digit, u'\0'};
  for (++named; !memory_taken;) {
    Sleep(1);
  }
  diag::terminate(message, "diag_child.cpp", digit - u'0', "f");
}

/// The first report lasts two minutes, for which all other threads wait.
void terminate_in_threads() {
  const import_patch final_stage("libqxfl.dll", "_wassert",
                                 reinterpret_cast<import_patch::any_function>(at_final_stage), original);
  interrupt_symbol_service([] {
    while (seconds < last_second) {
      Sleep(1);
    }
  });
  for (std::uintptr_t number = 0; number < threads; ++number) {
    CreateThread(nullptr, 0, terminate_without_memory, reinterpret_cast<void*>(number), 0, nullptr);
  }
  while (named < threads) {
    Sleep(1);
  }
  if (test_support::take_memory_away() < 6 || std::malloc(1) != nullptr) {
    print("memory is not gone");
  }
  test_support::take_refused_allocations();
  memory_taken = true;
  Sleep(INFINITE);
}

void terminate_beside_suspended_thread() {
  std::thread([] { terminate_interrupted_by([] { SuspendThread(GetCurrentThread()); }); }).detach();
  while (*diag::terminate_log() == '\0') {
    Sleep(1);
  }
  diag::terminate("second", "diag_child.cpp", 5, "g");
}

[[gnu::noipa]] void observe(const char* message, const char* file, int line, const char* function) {
  diag::default_termination_observer(message, file, line, function);
  asm volatile("");  // Or the call would be a jump, and nothing of this function on the stack.
}

struct printing_at_exit {
  ~printing_at_exit() { print("a static destructor has run"); }
};

void log_fatal_record() {
  foundation::log::basic_diagnostic_logger<char> logger("diag_child");
  logger.level(foundation::log::severity::fatal << foundation::log::check_shift);
  logger.check_failed("solver.cpp", 17, "int solve()", "count=", 42);
}

const struct {
  const char* name;
  void (*run)();
} modes[] = {
    {"write", fault_here},
    {"overflow", overflow},
    {"null function",
     [] {
       void (*const volatile none)() = nullptr;
       none();
     }},
    {"mock process throws", [] { mock_process([]() -> int { throw std::runtime_error("nobody"); }).join(); }},
    {"mock process is left", [] { mock_process([] { return 0; }); }},
    {"report overflows", [] { terminate_interrupted_by(overflow); }},
    {"suspended in report", terminate_beside_suspended_thread},
    {"print overflows",
     [] {
       interrupt_symbol_service(overflow);
       std::ostream nowhere(nullptr);
       diag::stacktrace<8>().format(nowhere, nullptr);
     }},
    {"assert", [] { diag::terminate("it broke", "solve.cpp", 17, "int solve()"); }},
    // The final stage has room for 4,095 units of message and function and 260 of the path.
    {"longest", [] { diag::terminate(std::string(4082, 'x'), std::string(260, 'f').c_str(), 1, "g"); }},
    {"path too long", [] { diag::terminate("x", std::string(261, 'f').c_str(), 1, "g"); }},
    {"text too long", [] { diag::terminate(std::string(4083, 'x'), "f", 1, "g"); }},
    {"observer reports",
     [] {
       const diag::termination_observer observer(observe);
       diag::terminate("it broke", "f", 1, "g");
     }},
    {"threads", terminate_in_threads},
    {"fast exit",
     [] {
       static const printing_at_exit object;
       foundation::core::app::fast_exit(3);
     }},
    {"fatal record", log_fatal_record},
};

}  // namespace

int main(int, char** arguments) {
  SetErrorMode(SEM_FAILCRITICALERRORS | SEM_NOGPFAULTERRORBOX);
  SetUnhandledExceptionFilter(on_fault);
  std::set_terminate(on_terminate);
  std::signal(SIGABRT, on_abort);
  diag::disable_terminate_dialog();
  CreateThread(nullptr, 0, report_overflow, nullptr, 0, nullptr);
  for (const auto& mode : modes) {
    if (std::strcmp(arguments[1], mode.name) == 0) {
      mode.run();
    }
  }
  return 0;
}

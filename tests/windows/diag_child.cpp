// Ways for a process to end, each seen from outside by crash_test: diag_child MODE. Reports go to standard error.

#include <fl/diag.hpp>
#include <fl/process/mock_process.hpp>

#include <foundation_log/logger.hpp>

#include "import_patch.hpp"
#include "memory_shortage.hpp"
#include "support.hpp"

#include <windows.h>

// Behind windows.h, whose types it uses.
#include <dbghelp.h>

#include <atomic>
#include <cassert>
#include <csignal>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <exception>
#include <stdexcept>
#include <string>
#include <string_view>
#include <thread>
#include <vector>

// Known outside of this file, so that the compiler cannot tell which classes there are.
struct base {
  base() { call(); }
  virtual ~base() = default;
  [[gnu::noipa]] void call() { method(); }
  virtual void method() = 0;
};
struct derived : base {
  void method() override {}
};

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

/// Reports what happens on a stack that is used up. It waits from the start: there is no room to start a thread then.
struct reporter {
  reporter() { CreateThread(nullptr, 0, wait, this, 0, nullptr); }

  static DWORD WINAPI wait(void* object) {
    const auto& self = *static_cast<const reporter*>(object);
    WaitForSingleObject(self.wanted, INFINITE);
    report_fault(self.fault);
    return 0;
  }

  const HANDLE wanted = CreateEventW(nullptr, FALSE, FALSE, nullptr);
  const EXCEPTION_POINTERS* volatile fault = nullptr;
} other_thread;

LONG WINAPI on_fault(EXCEPTION_POINTERS* fault) {
  constexpr DWORD cxx_exception = 0x20474343;
  if (fault->ExceptionRecord->ExceptionCode == cxx_exception)
    return EXCEPTION_CONTINUE_EXECUTION;
  if (fault->ExceptionRecord->ExceptionCode != EXCEPTION_STACK_OVERFLOW)
    report_fault(fault);
  other_thread.fault = fault;
  SetEvent(other_thread.wanted);
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

void execute() {
  static char data[16];
  reinterpret_cast<void (*)()>(reinterpret_cast<std::uintptr_t>(data))();
}

/// Touches the stack ahead, as the compiler's own probe does before a large frame. So the fault comes while there is
/// still room for a handler, whatever guarantee a thread has asked for: Wine knows none.
[[gnu::noipa]] int recurse(int depth) {
  volatile char room[1000] = {};
  asm volatile("orq $0, -16384(%%rsp)" : : : "memory", "cc");
  return zero == 1 ? 0 : recurse(depth + 1) + room[depth % 1000];
}

void throw_error() {
  throw std::runtime_error("nobody");
}

void overflow() {
  ULONG bytes = 16384;
  SetThreadStackGuarantee(&bytes);
  recurse(0);
}

void in_thread(void (*work)()) {
  std::thread(work).join();
}

[[noreturn]] void on_terminate() {
  const char* const name = diag::unknown_exception_name();
  diag::terminate(name != nullptr ? name : "no exception", "diag_child.cpp", 1, "terminate handler");
}

/// The compiler is not to see that this never returns: it would leave the handler away, and then nothing is unwound.
[[gnu::noipa]] void end_while_unwinding() {
  if (zero == 0)
    diag::terminate("real", "diag_child.cpp", 2, "unwinding");
}

struct unwinding {
  ~unwinding() { end_while_unwinding(); }
};

void terminate_in_flight() {
  const foundation::core::test::terminate_handler handler;
  try {
    const unwinding object;
    throw 1;
  } catch (...) {
  }
}

// The modes below replace the final stage, to look at the process before it ends.

std::atomic<import_patch::any_function> original{nullptr};
std::atomic<int> arrived{0};
constexpr int threads = 8;

/// The last of all threads to arrive prints the log.
void at_final_stage(const wchar_t*, const wchar_t*, unsigned) {
  if (++arrived != threads)
    Sleep(INFINITE);
  print(diag::terminate_log());
  foundation::core::app::fast_exit(crash_status);
}

void terminate_in_threads() {
  const import_patch final_stage("libqxfl.dll", "_wassert",
                                 reinterpret_cast<import_patch::any_function>(at_final_stage), original);
  std::vector<std::thread> running;
  for (int number = 0; number < threads; ++number)
    running.emplace_back([number] {
      diag::setCurrentThreadName("thread " + std::to_string(number));
      diag::terminate("message " + std::to_string(number), "diag_child.cpp", number, "f");
    });
  Sleep(INFINITE);
}

void print_count_and_end(const wchar_t*, const wchar_t*, unsigned) {
  char text[32];
  print({text, static_cast<std::size_t>(
                   std::snprintf(text, sizeof text, "%d allocations\n", test_support::take_refused_allocations()))});
  print(diag::terminate_log());
  foundation::core::app::fast_exit(crash_status);
}

void terminate_without_memory() {
  const import_patch final_stage("libqxfl.dll", "_wassert",
                                 reinterpret_cast<import_patch::any_function>(print_count_and_end), original);
  if (test_support::take_memory_away() < 6 || std::malloc(1) != nullptr)
    print("memory is not gone");
  test_support::take_refused_allocations();
  // A thread that has never thrown, and that the run-time has made nothing for.
  const auto thread = [](void*) -> DWORD { diag::terminate(u"n\u00F3 memory", "diag_child.cpp", 3, "f"); };
  WaitForSingleObject(CreateThread(nullptr, 0, thread, nullptr, 0, nullptr), INFINITE);
}

void fault_in_report() {
  const import_patch service("libqxfl.dll", "SymFromAddr", reinterpret_cast<import_patch::any_function>(fault_here),
                             original);
  diag::terminate("message", "diag_child.cpp", 4, "f");
}

void count_dialog_switches() {
  test_support::injected<int (*)(int)> mode("libqxfl.dll", "_set_error_mode");
  diag::terminate_called();
  diag::terminate_called();
  print(mode.calls() == 1 ? "off" : mode.calls() == 0 ? "on" : "twice");
  foundation::core::app::fast_exit(0);
}

void nested_handlers() {
  const foundation::core::test::terminate_handler outer, inner;
}

struct printing_at_exit {
  ~printing_at_exit() { print("a static destructor has run"); }
};

void exit_fast() {
  static const printing_at_exit object;
  foundation::core::app::fast_exit(3);
}

void log_fatal_record() {
  foundation::log::basic_diagnostic_logger<char> logger("diag_child");
  logger.level(foundation::log::severity::fatal << foundation::log::check_shift);
  logger.check_failed("solver.cpp", 17, "int solve()", "count=", 42);
}

const struct {
  const char* name;
  void (*run)();
} modes[] = {
    {"read", [] { zero = *null_pointer; }},
    {"write", fault_here},
    {"execute", execute},
    {"divide", [] { zero = GetCurrentProcessId() / static_cast<unsigned>(zero); }},
    {"illegal", [] { asm volatile("ud2"); }},
    {"overflow", overflow},
    {"overflow in thread", [] { in_thread(overflow); }},
    {"fault in thread", [] { in_thread(fault_here); }},
    {"pure", [] { derived(); }},
    {"std::terminate", []() noexcept { throw_error(); }},
    {"mock process throws", [] { mock_process([]() -> int { throw std::runtime_error("nobody"); }).join(); }},
    {"mock process is empty", [] { mock_process(boost::function<int()>()).join(); }},
    {"mock process is left", [] { mock_process([] { return 0; }); }},
    {"observer throws",
     [] {
       const diag::termination_observer observer([](const char* message, const char* file, int, const char* function) {
         const bool as_given = file == nullptr && function == nullptr;
         diag::terminate_log(as_given ? message : "not null", diag::thread_context());
         throw 1;
       });
       diag::terminate("as given", nullptr, 0, nullptr);
     }},
    {"observer faults",
     [] {
       const diag::termination_observer observer([](const char*, const char*, int, const char*) { fault_here(); });
       diag::terminate("message", nullptr, 0, nullptr);
     }},
    {"report faults", fault_in_report},
    {"assert", [] { diag::terminate("it broke", "solve.cpp", 17, "int solve()"); }},
    {"unknown place", [] { diag::terminate("it broke", nullptr, 0, ""); }},
    {"too long", [] { diag::terminate(std::string(4096, 'x'), "f", 1, "g"); }},
    {"in flight", terminate_in_flight},
    {"threads", terminate_in_threads},
    {"no memory", terminate_without_memory},
    {"dialog", count_dialog_switches},
    {"nested handlers", nested_handlers},
    {"fast exit", exit_fast},
    {"fatal record", log_fatal_record},
};

}  // namespace

int main(int, char** arguments) {
  SetErrorMode(SEM_FAILCRITICALERRORS | SEM_NOGPFAULTERRORBOX);
  SetUnhandledExceptionFilter(on_fault);
  std::set_terminate(on_terminate);
  const bool shown = std::strcmp(arguments[1], "dialog") == 0;
  if (!shown) {
    std::signal(SIGABRT, on_abort);
    diag::disable_terminate_dialog();
  }
  for (const auto& mode : modes)
    if (std::strcmp(arguments[1], mode.name) == 0)
      mode.run();
  return 0;
}

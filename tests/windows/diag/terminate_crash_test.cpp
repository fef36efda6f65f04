// Processes that end badly, as seen from outside: one report with the right heading and the place of the fault, a
// failure status, and no hanging. Each ends in a process of its own, which EXPECT_EXIT starts; reports go to standard
// error. What each says in full is a matter of report_test.

#include <fl/diag.hpp>
#include <fl/process/mock_process.hpp>
#include <foundation_log/logger.hpp>

#include "as_written.hpp"
#include "every_test.hpp"
#include "faults.hpp"
#include "import_patch.hpp"
#include "memory_shortage.hpp"

#include <windows.h>
#include <dbghelp.h>

#include <csignal>
#include <locale>
#include <regex>

namespace {

namespace diag = foundation::core::diag;
using foundation::core::process::mock_process;
using test_support::fault_here;
using test_support::import_patch;
using testing::AllOf;
using testing::HasSubstr;

constexpr int crash_status = 99;  // Of the handlers below.
constexpr int abort_status = 3;

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

[[noreturn]] void on_terminate() {
  const char* const name = diag::unknown_exception_name();
  diag::terminate(name != nullptr ? name : "no exception", "crash.cpp", 1, "terminate handler");
}

std::atomic<import_patch::any_function> original{nullptr}, find_symbol{nullptr}, find_symbol_anywhere{nullptr};
const void* const named_modules[] = {GetModuleHandleW(nullptr), GetModuleHandleW(L"libqxfoundation_log.dll")};

/// Has no names for the larger modules: to read their debug information takes each process seconds.
BOOL WINAPI find_symbol_of_small_module(HANDLE process, DWORD64 address, DWORD64* distance, SYMBOL_INFO* symbol) {
  MEMORY_BASIC_INFORMATION region{};
  VirtualQuery(reinterpret_cast<const void*>(address), &region, sizeof region);
  return std::ranges::find(named_modules, region.AllocationBase) != std::end(named_modules) &&
         reinterpret_cast<decltype(&SymFromAddr)>(find_symbol_anywhere.load())(process, address, distance, symbol);
}

void install_handlers() {
  static const import_patch service("libqxfl.dll", "SymFromAddr",
                                    reinterpret_cast<import_patch::any_function>(find_symbol_of_small_module),
                                    find_symbol_anywhere);
  SetUnhandledExceptionFilter(on_fault);
  std::set_terminate(on_terminate);
  std::signal(SIGABRT, [](int) { print(diag::terminate_log()); });
  diag::disable_terminate_dialog();
  CreateThread(nullptr, 0, report_overflow, nullptr, 0, nullptr);
}

/// Expects that a process with these handlers in which `end` runs ends so.
void expect_end(void (*end)(), int status, const testing::Matcher<const std::string&>& told) {
  EXPECT_EXIT((install_handlers(), end()), testing::ExitedWithCode(status), told);
}

void (*volatile null_function)() = nullptr;

void overflow() {
  ULONG bytes = 16384;
  SetThreadStackGuarantee(&bytes);
  test_support::recurse(0);
}

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
  diag::terminate("message", "crash.cpp", 4, "f");
}

void terminate_beside_suspended_thread() {
  std::thread([] { terminate_interrupted_by([] { SuspendThread(GetCurrentThread()); }); }).detach();
  while (*diag::terminate_log() == '\0') {
    Sleep(1);
  }
  diag::terminate("second", "crash.cpp", 5, "g");
}

/// Another thread has stopped inside the loader, and the clock runs.
void fault_beside_stopped_loader() {
  interrupt_symbol_service([] {});
  std::thread([] {
    ULONG_PTR cookie = 0;
    const auto lock = reinterpret_cast<import_patch::any_function>(
        GetProcAddress(GetModuleHandleW(L"ntdll.dll"), "LdrLockLoaderLock"));
    reinterpret_cast<LONG (*)(ULONG, ULONG*, ULONG_PTR*)>(lock)(0, nullptr, &cookie);
    in_service = true;
    Sleep(INFINITE);
  }).detach();
  while (!in_service) {
    Sleep(1);
  }
  fault_here();
}

/// As on a damaged heap.
void terminate_with_faulty_loader() {
  const import_patch loader("libqxfl.dll", "LoadLibraryExA", reinterpret_cast<import_patch::any_function>(fault_here),
                            original);
  diag::terminate("message", "crash.cpp", 4, "f");
}

std::atomic<bool> in_run_time{false};

/// With another thread suspended where the run-time changes the global locale, under its lock.
void terminate_beside_stopped_locale() {
  const test_support::injected<char*(__cdecl*)(int, const char*)> set("libstdc++-6.dll", "setlocale",
                                                                      [](auto, auto...) -> char* {
                                                                        in_run_time = true;
                                                                        SuspendThread(GetCurrentThread());
                                                                        return nullptr;
                                                                      });
  diag::terminate_called();  // The engine is there: its log is a stream.
  const std::locale& classic = std::locale::classic();
  std::thread([&] { std::locale::global(std::locale(classic, classic, std::locale::numeric)); }).detach();
  while (!in_run_time) {
    Sleep(1);
  }
  diag::terminate(u"message", "crash.cpp", 4, "f");
}

void log_fatal_record() {
  foundation::log::basic_diagnostic_logger<char> logger("crash");
  logger.level(foundation::log::severity::fatal << foundation::log::check_shift);
  logger.check_failed("solver.cpp", 17, "int solve()", "count=", 42);
}

MATCHER(HasOneReport, "") {
  const auto thread = arg.find("\nCurrent Thread: '");
  return thread != arg.npos && thread == arg.rfind("\nCurrent Thread: '");
}

/// Google Test's own patterns have no groups on Windows.
MATCHER_P(HasPattern, pattern, "") {
  return std::regex_search(arg, std::regex(pattern));
}

TEST(Crash, EveryEndLeavesOneReportThatNamesThePlaceAndAFailureStatus) {
  const std::string fault = "\nAbnormal termination:\nfault\n\n", too_long = "len >= 0, file src/fl/diag/windows/termi";
  const auto report_in_f = HasSubstr("\nAssertion in f at crash.cpp line 4:\nmessage\n\n");
  const auto terminated_by = [](const std::string& exception) {
    return AllOf(HasSubstr("\nAssertion in terminate handler at crash.cpp line 1:\n" + exception + "\n\n"),
                 HasSubstr("on_terminate+0000"));
  };
  const struct {
    void (*end)();
    int status;
    testing::Matcher<const std::string&> told;
  } cases[] = {
      {fault_here, crash_status, AllOf(HasSubstr(fault), HasSubstr("fault_here+0000"))},
      {[] { null_function(); }, crash_status, AllOf(HasSubstr(fault), HasSubstr("[  0] 0x0000000000000000 "))},
      {[] { mock_process([]() -> int { throw std::runtime_error("nobody"); }).join(); }, abort_status,
       terminated_by("St13runtime_error")},
      {[] { mock_process([] { return 0; }); }, abort_status, terminated_by("no exception")},
      // The final stage has room for 4,095 units of message and function and 260 of the path.
      {[] { diag::terminate(std::string(4082, 'x'), std::string(260, 'f').c_str(), 1, "g"); }, abort_status,
       HasSubstr("failed: " + std::string(4082, 'x') + "\n\nFunction: g, file " + std::string(260, 'f') +
                 ", line 1\n")},
      {[] { diag::terminate("x", std::string(261, 'f').c_str(), 1, "g"); }, abort_status, HasSubstr(too_long)},
      {[] { diag::terminate(std::string(4083, 'x'), "f", 1, "g"); }, abort_status,
       AllOf(HasSubstr("\n" + std::string(4083, 'x') + "\n"), HasSubstr(too_long + "nate, line 41\n"))},
      // A report that has stopped, for good or where the fault was that another thread reports.
      {terminate_beside_suspended_thread, abort_status,
       AllOf(report_in_f, HasSubstr("second\n\nFunction: g, file crash.cpp, line 5"))},
      {[] { terminate_interrupted_by(overflow); }, abort_status,
       AllOf(report_in_f, HasSubstr(", file src/fl/diag/terminate, line 266\n"))},
      {terminate_beside_stopped_locale, abort_status, report_in_f},
      {fault_beside_stopped_loader, crash_status,
       HasPattern(R"(:\nNo names from here on[^\n]+ the loader.\n(\[ *\d+\] 0x[0-9a-f]{16}\n){5})")},
      {terminate_with_faulty_loader, crash_status,
       AllOf(HasSubstr(fault), HasPattern(R"(\nNo names from here on[^\n]+\n(\[ *\d+\] 0x[0-9a-f]{16}\n){5})"))},
      {log_fatal_record, abort_status,
       AllOf(HasSubstr("\nAssertion in int solve() at solver.cpp line 17:\ncount=42"),
             HasSubstr("::report_check+0000"))},
  };
  for (const auto& each : cases) {
    SCOPED_TRACE(&each - cases);
    expect_end(each.end, each.status, AllOf(HasOneReport(), each.told));
  }
}

AS_WRITTEN void observe(const char* message, const char* file, int line, const char* function) {
  diag::default_termination_observer(message, file, line, function);
  asm volatile("");  // Or the call would be a jump, and nothing of this function on the stack.
}

TEST(Crash, AStackGoesOnInNumbersWhereNamesCannotBeHadAndBeginsWithAnObserverThatAsksForIt) {
  const auto overflow_while_printing = [] {
    interrupt_symbol_service(overflow);
    std::ostream nowhere(nullptr);
    diag::stacktrace<8>().format(nowhere, nullptr);
  };
  expect_end(overflow_while_printing, crash_status,
             HasPattern(R"(\(from fault\):\nNo names from here on: [^\n]+\n(\[ *\d+\] 0x[0-9a-f]{16}\n){128}\n)"));
  const auto report_by_observer = [] {
    const diag::termination_observer observer(observe);
    diag::terminate("it broke", "f", 1, "g");
  };
  expect_end(report_by_observer, abort_status, HasPattern(R"(\(captured\):\n\[  0\] [^\n]+[ :]observe\+)"));
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
  diag::terminate(message, "crash.cpp", digit - u'0', "f");
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
  if (test_support::take_memory_away() < 6) {
    print("memory is not gone");
  }
  test_support::take_refused_allocations();
  memory_taken = true;
  Sleep(INFINITE);
}

TEST(Terminate, ThreadsWithoutMemoryLeaveAWholeReportEachHoweverSlowTheFirstIs) {
  // Imports of all functions that allocate fail.
  testing::Matcher<const std::string&> told = testing::StartsWith("nothing allocated\n\nAssertion");
  for (const char digit : {'0', '1', '2', '3'}) {
    const std::string number(1, digit);
    told = AllOf(told, HasPattern("\nAssertion in f at crash.cpp line " + number + ":\nn\\\\u00F3 " + number +
                                  "\n\nCurrent Thread: 'thread " + number + "' id \\d+\n\n" +
                                  R"(Register State \(captured\):\n[^\[]+CS = [^\[]+\n)"
                                  R"(Stack Trace \(captured\):\n(\[[^\n]+\n)+\n)"));
  }
  expect_end(terminate_in_threads, crash_status, told);
}

struct printing_at_exit {
  ~printing_at_exit() { print("a static destructor has run"); }
};

TEST(FastExit, RunsNothing) {
  const auto exit = [] {
    static const printing_at_exit object;
    foundation::core::app::fast_exit(3);
  };
  expect_end(exit, 3, testing::StrEq(""));
}

}  // namespace

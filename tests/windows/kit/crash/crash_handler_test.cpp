// Processes that die with the crash handler installed, as seen from outside, and what the installation does to a
// process that lives on. Each death has a process of its own, which EXPECT_EXIT starts.

#include <fl/diag.hpp>
#include <fl/except.hpp>
#include <fl/process/errors.hpp>

#include "as_written.hpp"
#include "every_test.hpp"
#include "faults.hpp"
#include "import_patch.hpp"
#include "memory_shortage.hpp"
#include "support.hpp"

#include <kit/crash_handler.hpp>

#include <windows.h>
#include <cxxabi.h>
#include <dbghelp.h>
#include <tlhelp32.h>

#include <csignal>
#include <regex>

namespace {

namespace diag = foundation::core::diag;
namespace kit = foundation::kit;
using kit::hook_state;
using test_support::fault_here;
using test_support::import_patch;
using test_support::injected;
using testing::AllOf;
using testing::HasSubstr;
using testing::Not;

constexpr int access_violation = static_cast<int>(0xC0000005), stack_overflow = static_cast<int>(0xC00000FD),
              fail_fast = static_cast<int>(0xC0000409), invalid_argument = static_cast<int>(0xC0000417),
              abort_status = 3;

/// Straight to the handle: nothing may wait in a buffer when the process ends.
void print(std::string_view text) {
  DWORD put = 0;
  WriteFile(GetStdHandle(STD_ERROR_HANDLE), text.data(), static_cast<DWORD>(text.size()), &put, nullptr);
}

/// A file of a folder that the test and the processes that it starts have in common.
std::string common_file(std::string_view name) {
  static constexpr const char* variable = "QXFL_CRASH_TEST_FOLDER";
  static const std::string folder = [] {
    if (const char* const given = std::getenv(variable)) {
      return std::string(given);
    }
    static const test_support::temp_dir made;
    static const test_support::scoped_variable told(variable, made.path());
    return made.path();
  }();
  return folder + "\\" + std::string(name);
}

std::u16string wide(const std::string& text) {
  return {text.begin(), text.end()};
}

std::atomic<import_patch::any_function> find_symbol_anywhere{nullptr};

std::atomic<bool> names_wanted{false};

/// Has names for this program at most: to read the debug information of the larger modules takes each process seconds.
BOOL WINAPI find_own_symbol(HANDLE process, DWORD64 address, DWORD64* distance, SYMBOL_INFO* symbol) {
  MEMORY_BASIC_INFORMATION region{};
  VirtualQuery(reinterpret_cast<const void*>(address), &region, sizeof region);
  return names_wanted && region.AllocationBase == GetModuleHandleW(nullptr) &&
         reinterpret_cast<decltype(&SymFromAddr)>(find_symbol_anywhere.load())(process, address, distance, symbol);
}

/// For a process that is going to die.
void install(const kit::crash_handler_options& options = {}) {
  static const import_patch symbols("libqxfl.dll", "SymFromAddr",
                                    reinterpret_cast<import_patch::any_function>(find_own_symbol),
                                    find_symbol_anywhere);
  new kit::crash_handler(kit::install_crash_handler(options));
}

void run_in_thread(void (*work)()) {
  const auto run = [](void* what) -> DWORD {
    reinterpret_cast<void (*)()>(what)();
    return 0;
  };
  const HANDLE thread = CreateThread(nullptr, 0, run, reinterpret_cast<void*>(work), 0, nullptr);
  WaitForSingleObject(thread, INFINITE);
  Sleep(INFINITE);
}

void (*volatile null_function)() = nullptr;

void overflow() {
  test_support::recurse(0);
}

/// Uses the stack up but for 64 KB. Wine makes no smaller ones to begin with.
AS_WRITTEN void fault_with_little_stack() {
  diag::setCurrentThreadName("small");
  ULONG_PTR low = 0, high = 0;
  GetCurrentThreadStackLimits(&low, &high);
  const auto here = reinterpret_cast<ULONG_PTR>(__builtin_frame_address(0));
  auto* const room = static_cast<volatile char*>(__builtin_alloca(here - low - 65536));
  room[0] = 1;
  fault_here();
}

/// What a pure virtual call comes to, in the run-time's own classes at least: in a program's tables this linker leaves
/// it out, and the call goes to address 0.
void call_pure_virtual() {
  const auto function = GetProcAddress(GetModuleHandleW(L"libstdc++-6.dll"), "__cxa_pure_virtual");
  reinterpret_cast<void (*)()>(function)();
}

void throw_uncaught() {
  throw std::runtime_error("no such city");
}

std::atomic<bool> is_asked{false};

struct endless : std::runtime_error {
  using runtime_error::runtime_error;
  const char* what() const noexcept override {
    is_asked = true;
    Sleep(INFINITE);
    return nullptr;
  }
};

/// With another thread stopped within the lock of the texts of exceptions.
void throw_beside_stopped_text() {
  using foundation::core::except::detail::AnonymousInternalException;
  std::thread([] { AnonymousInternalException(endless("")).what(); }).detach();
  while (!is_asked) {
    Sleep(1);
  }
  throw AnonymousInternalException(std::runtime_error("no such city"));
}

#ifdef _UCRT
_invalid_parameter_handler set_parameter_handler(_invalid_parameter_handler handler) {
  return _set_invalid_parameter_handler(handler);
}
_invalid_parameter_handler get_parameter_handler() {
  return _get_invalid_parameter_handler();
}
#else
// Wine's older run-time has no place for a handler of invalid parameters: these stand in for the functions of one that
// has.

constinit std::atomic<_invalid_parameter_handler> parameter_handler{nullptr};

_invalid_parameter_handler set_parameter_handler(_invalid_parameter_handler handler) {
  return parameter_handler.exchange(handler);
}
_invalid_parameter_handler get_parameter_handler() {
  return parameter_handler;
}
#endif

using any_procedure = FARPROC (*)(HMODULE, const char*);

FARPROC find_with_parameter_handler(any_procedure original, HMODULE module, const char* name) {
  const auto any = [](auto* function) {
    return reinterpret_cast<FARPROC>(reinterpret_cast<import_patch::any_function>(function));
  };
  return name == std::string_view("_set_invalid_parameter_handler")   ? any(set_parameter_handler)
         : name == std::string_view("_get_invalid_parameter_handler") ? any(get_parameter_handler)
                                                                      : original(module, name);
}

void pass_invalid_parameter() {
  static injected<any_procedure> run_time("libqxkit.dll", "GetProcAddress", find_with_parameter_handler);
  install();
  get_parameter_handler()(L"file != NULL", L"fclose", L"fclose.c", 1, 0);
}

void throw_number() {
  throw 42;
}

MATCHER(HasOneReport, "") {
  const auto thread = arg.find("\nCurrent Thread: '");
  return thread != arg.npos && thread == arg.rfind("\nCurrent Thread: '");
}

TEST(CrashHandler, EveryEndLeavesOneReportThatSaysWhatItWasAndTheCodeThatStandsForIt) {
  const auto said = [](const std::string& what) { return HasSubstr("\nAbnormal termination:\n" + what); };
  const std::string null_write = "access violation (0xC0000005) writing address 0x0000000000000000\n\n";
  const struct {
    void (*end)();
    int status;
    testing::Matcher<const std::string&> told;
    bool has_names = false;
  } cases[] = {
      {fault_here, access_violation, AllOf(said(null_write), HasSubstr("\n[  0] "), HasSubstr("fault_here+0000")),
       true},
      {[] { run_in_thread([] { (diag::setCurrentThreadName("worker"), fault_here()); }); }, access_violation,
       AllOf(said(null_write), HasSubstr("Current Thread: 'worker' id"), HasSubstr("\n[  0] "))},
      {[] { null_function(); }, access_violation,
       AllOf(HasSubstr("[  0] 0x0000000000000000 "), HasSubstr(": a null pointer to a function was called, or a"))},
      // There is no room for a report on the thread itself.
      {[] { run_in_thread(fault_with_little_stack); }, access_violation,
       AllOf(said("access violation (0xC0000005) writing address 0x0000000000000000, in thread 'small' id "),
             HasSubstr("\n[  0] "))},
      {[] { RaiseException(0xE1234567, 0, 0, nullptr); }, static_cast<int>(0xE1234567), said("exception 0xE1234567\n")},
      {overflow, stack_overflow, AllOf(said("stack overflow (0xC00000FD), in thread id "), HasSubstr("recurse+0000")),
       true},
      {[] { run_in_thread(overflow); }, stack_overflow, said("stack overflow (0xC00000FD), in thread id ")},
      {[]() noexcept { throw_uncaught(); }, fail_fast, said("std::terminate: std::runtime_error: no such city\n\n")},
      {[] { std::thread(throw_uncaught).join(); }, fail_fast, said("std::terminate: std::runtime_error: no such city")},
      {[]() noexcept { throw_beside_stopped_text(); }, fail_fast,
       AllOf(said("std::terminate: "), HasSubstr("AnonymousInternalException<std::runtime_error>: no such city\n\n"))},
      {[]() noexcept { throw_number(); }, fail_fast, said("std::terminate: int\n\n")},
      {[] { std::terminate(); }, fail_fast, said("std::terminate\n\n")},
      {call_pure_virtual, fail_fast, said("std::terminate: a pure virtual function was called\n\n")},
      {[] { std::abort(); }, abort_status, said("abort\n\n")},
      {[] { run_in_thread([] { std::abort(); }); }, abort_status, said("abort\n\n")},
      {[] { diag::terminate("the route leads nowhere", "crash.cpp", 4, "f"); }, abort_status,
       AllOf(HasSubstr("\nAssertion in f at crash.cpp line 4:\nthe route leads nowhere\n\n"), Not(said("")))},
      {[] { pass_invalid_parameter(); }, invalid_argument, said("invalid argument to the C run-time in fclose\n\n")},
  };
  for (const auto& each : cases) {
    SCOPED_TRACE(&each - cases);
    const auto die = [&] {
      names_wanted = each.has_names;
      if (each.status != invalid_argument) {
        install();
      }
      each.end();
    };
    EXPECT_EXIT(die(), testing::ExitedWithCode(each.status), AllOf(HasOneReport(), each.told));
  }
}

/// The exception of a dump, with the thread that it was on.
std::optional<std::pair<std::uint32_t, std::uint32_t>> exception_in(std::string& dump) {
  void* stream = nullptr;
  ULONG size = 0;
  if (!dump.starts_with("MDMP") || !MiniDumpReadDumpStream(dump.data(), ExceptionStream, nullptr, &stream, &size)) {
    return std::nullopt;
  }
  const auto& found = *static_cast<const MINIDUMP_EXCEPTION_STREAM*>(stream);
  return std::pair(static_cast<std::uint32_t>(found.ExceptionRecord.ExceptionCode),
                   static_cast<std::uint32_t>(found.ThreadId));
}

TEST(CrashHandler, ADumpThatAnotherProgramWritesHasTheExceptionAndItsThread) {
  const auto die = [](void (*end)(), const std::string& name) {
    kit::crash_handler_options options;
    options.report_file = wide(common_file(name + ".txt"));
    options.dump.file = wide(common_file(name + ".dmp"));
    options.standard_error = false;
    options.callback = [](const kit::crash& crash) {
      print(crash.dump_written && std::string_view(crash.report).ends_with("\n") ? crash.notes : "no dump");
    };
    install(options);
    end();
  };
  const struct {
    void (*end)();
    std::string name;
    int status;
    std::uint32_t code;
  } cases[] = {
      {[] { run_in_thread(fault_here); }, "fault", access_violation, 0xC0000005},
      {std::abort, "abort", abort_status, 0x40000015},
  };
  for (const auto& [end, name, status, code] : cases) {
    EXPECT_EXIT(die(end, name), testing::ExitedWithCode(status),
                testing::StrEq("Dump: " + common_file(name + ".dmp") + "\n"));
  }
  // Behind all of them, since each process that dies comes by the others' ends.
  for (const auto& [end, name, status, code] : cases) {
    SCOPED_TRACE(name);
    const std::string report = test_support::read_file(common_file(name + ".txt"));
    std::string dump = test_support::read_file(common_file(name + ".dmp"));
    EXPECT_THAT(report, AllOf(HasOneReport(), testing::EndsWith("\nDump: " + common_file(name + ".dmp") + "\n")));
    std::smatch thread;
    ASSERT_TRUE(std::regex_search(report, thread, std::regex(R"( id (\d+)\n)"))) << report;
    EXPECT_EQ(exception_in(dump), std::pair(code, static_cast<std::uint32_t>(std::stoul(thread[1]))));
  }
}

TEST(CrashHandler, NothingIsAllocatedOnTheWay) {
  const auto die = [](void (*end)(), const char* dump = nullptr) {
    kit::crash_handler_options options;
    options.report_file = wide(common_file("no memory.txt"));
    if (dump != nullptr) {
      options.dump.file = wide(common_file(dump));
    }
    options.callback = [](const kit::crash& crash) {
      print(test_support::take_refused_allocations() == 0 ? "nothing allocated\n" : "allocated\n");
      print(crash.what);
      print(crash.notes);
    };
    install(options);
    // Six modules and more; the handler's own asks for memory when it is installed.
    if (test_support::take_memory_away() < 6) {
      print("memory is not gone");
    }
    test_support::take_refused_allocations();
    end();
  };
  const auto told = [](const std::string& what) {
    return AllOf(HasOneReport(), HasSubstr("nothing allocated\n" + what));
  };
  EXPECT_EXIT(die([] { run_in_thread(fault_here); }, "no memory.dmp"), testing::ExitedWithCode(access_violation),
              AllOf(told("access violation"), HasSubstr("Dump: " + common_file("no memory.dmp"))));
  EXPECT_EXIT(die([] { run_in_thread(overflow); }), testing::ExitedWithCode(stack_overflow), told("stack overflow"));
  EXPECT_EXIT(die([] { run_in_thread(call_pure_virtual); }), testing::ExitedWithCode(fail_fast), told("std::termi"));
}

/// What is uncaught was thrown before the memory was gone.
TEST(CrashHandler, DescribingAnExceptionAllocatesNothing) {
  const auto die = [] {
    kit::crash_handler_options options;
    options.callback = [](const kit::crash& crash) {
      print(test_support::take_refused_allocations() == 0 ? "nothing allocated\n" : "allocated\n");
      print(crash.what);
    };
    install(options);
    try {
      throw_uncaught();
    } catch (...) {
      test_support::take_memory_away();
      std::terminate();
    }
  };
  EXPECT_EXIT(die(), testing::ExitedWithCode(fail_fast),
              AllOf(HasOneReport(), HasSubstr("nothing allocated\nstd::terminate: std::runtime_error: no such city")));
}

/// The threads of the only child that this process has.
void do_to_helper(void (*what)(DWORD process, DWORD thread)) {
  const HANDLE all = CreateToolhelp32Snapshot(TH32CS_SNAPPROCESS | TH32CS_SNAPTHREAD, 0);
  PROCESSENTRY32W process{};
  process.dwSize = sizeof process;
  for (BOOL more = Process32FirstW(all, &process); more; more = Process32NextW(all, &process)) {
    if (process.th32ParentProcessID != GetCurrentProcessId()) {
      continue;
    }
    THREADENTRY32 thread{};
    thread.dwSize = sizeof thread;
    for (BOOL any = Thread32First(all, &thread); any; any = Thread32Next(all, &thread)) {
      if (thread.th32OwnerProcessID == process.th32ProcessID) {
        what(process.th32ProcessID, thread.th32ThreadID);
      }
    }
  }
  CloseHandle(all);
}

void stop_helper(DWORD, DWORD thread) {
  SuspendThread(OpenThread(THREAD_SUSPEND_RESUME, FALSE, thread));
}

void kill_helper(DWORD process, DWORD) {
  const HANDLE helper = OpenProcess(PROCESS_TERMINATE | SYNCHRONIZE, FALSE, process);
  TerminateProcess(helper, 1);
  WaitForSingleObject(helper, INFINITE);
}

class misleading_error : public std::exception {
 public:
  const char* what() const noexcept override {
    fault_here();
    return "";
  }
};

void throw_misleading_error() {
  throw misleading_error();
}

TEST(CrashHandler, WhatFailsOnTheWayIsLeftOut) {
  using options_type = kit::crash_handler_options;
  const std::string missing = "no such folder\\x";
  const auto with_dump = [](options_type& options) {
    options.dump.file = wide(common_file("x.dmp"));
    options.dump.limit = std::chrono::milliseconds(300);
  };
  const struct {
    std::function<void(options_type&)> prepare;
    void (*end)();
    int status;
    testing::Matcher<const std::string&> told;
  } cases[] = {
      {[&](options_type& options) {
         options.report_file = wide(common_file(missing));
         options.standard_error = false;
       },
       fault_here, access_violation, HasOneReport()},
      {[&](options_type& options) { (with_dump(options), options.dump.file = wide(common_file(missing))); }, fault_here,
       access_violation, AllOf(HasOneReport(), HasSubstr("\nNo dump: error 0x00000003\n"))},
      {with_dump, [] { (do_to_helper(stop_helper), fault_here()); }, access_violation,
       HasSubstr("\nNo dump: the program that writes it did not answer in time\n")},
      {with_dump, [] { (do_to_helper(kill_helper), fault_here()); }, access_violation,
       HasSubstr("\nNo dump: the program that writes it has ended\n")},
      // The code is that of the first crash.
      {[](options_type& options) { options.callback = [](auto&) { std::abort(); }; }, fault_here, access_violation,
       HasOneReport()},
      {[](options_type& options) { options.callback = [](auto&) { throw 1; }; }, fault_here, access_violation,
       HasOneReport()},
      {[](options_type& options) { options.callback = [](auto&) { fault_here(); }; }, [] { std::terminate(); },
       fail_fast, HasOneReport()},
      {[](options_type& options) { options.callback = [](auto&) { overflow(); }; }, fault_here, access_violation,
       HasOneReport()},
      {[](options_type&) {}, []() noexcept { throw_misleading_error(); }, fail_fast,
       AllOf(HasOneReport(), HasSubstr("misleading_error"),
             HasSubstr("\nCrashed again while the exception was described: access violation (0xC0000005) writing"))},
  };
  for (const auto& each : cases) {
    SCOPED_TRACE(&each - cases);
    const auto die = [&] {
      options_type options;
      each.prepare(options);
      install(options);
      each.end();
    };
    EXPECT_EXIT(die(), testing::ExitedWithCode(each.status), each.told);
  }
}

TEST(CrashHandler, ThreadsThatCrashMeanwhileAndOneThatLeavesWaitForTheEnd) {
  const auto crash_at_once = [] {
    install();
    static std::atomic<int> ready{0};
    for (int i = 0; i < 4; ++i) {
      std::thread([i] {
        for (++ready; ready < 4;) {
        }
        i % 2 == 0 ? fault_here() : fault_here();
      }).detach();
    }
    Sleep(INFINITE);
  };
  EXPECT_EXIT(crash_at_once(), testing::ExitedWithCode(access_violation), HasOneReport());
  const auto leave = [] {
    static const HANDLE in_callback = CreateEventW(nullptr, TRUE, FALSE, nullptr);
    kit::crash_handler_options options;
    options.callback = [](const kit::crash&) {
      SetEvent(in_callback);
      Sleep(500);
    };
    kit::crash_handler handler = kit::install_crash_handler(options);
    std::thread(fault_here).detach();
    WaitForSingleObject(in_callback, INFINITE);
    handler.uninstall();
    foundation::core::app::fast_exit(0);
  };
  EXPECT_EXIT(leave(), testing::ExitedWithCode(access_violation), HasOneReport());
}

LONG WINAPI other_filter(EXCEPTION_POINTERS*) {
  return EXCEPTION_CONTINUE_SEARCH;
}
void other_terminate() {
  std::abort();
}
int others_aborts = 0;
void other_abort(int) {
  ++others_aborts;
}
void (*kept_abort)(int) = nullptr;
void pass_abort_on(int signal) {
  kept_abort(signal);
}
void other_invalid_parameter(const wchar_t*, const wchar_t*, const wchar_t*, unsigned, std::uintptr_t) {}

/// The four places.
struct handlers {
  LPTOP_LEVEL_EXCEPTION_FILTER filter;
  std::terminate_handler terminate;
  void (*abort)(int);
  _invalid_parameter_handler invalid_parameter;

  bool operator==(const handlers&) const = default;

  /// Puts these there, and returns what was there.
  handlers put() const {
    return {SetUnhandledExceptionFilter(filter), std::set_terminate(terminate), std::signal(SIGABRT, abort),
            set_parameter_handler(invalid_parameter)};
  }
};

std::vector<hook_state> states() {
  const kit::crash_handler_status now = kit::look_at_crash_handler();
  return {now.faults, now.terminate, now.abort, now.invalid_parameters, now.dump};
}

TEST(CrashHandler, PutsBackWhatWasThereUnlessSomebodyElseIsThereByThen) {
  const handlers others{other_filter, other_terminate, other_abort, other_invalid_parameter};
  const injected<any_procedure> run_time("libqxkit.dll", "GetProcAddress", find_with_parameter_handler);
  const handlers original = others.put();
  constexpr hook_state active = hook_state::active, replaced = hook_state::replaced, unused = hook_state::unused;
  EXPECT_EQ(states(), std::vector(5, unused));
  {
    const injected<decltype(&GetModuleHandleExW)> pinning("libqxkit.dll", "GetModuleHandleExW");
    kit::install_crash_handler().uninstall();
    EXPECT_EQ(pinning.calls(), 1u) << "whoever has seen our functions may call them later";
  }
  {
    kit::crash_handler_options options;
    options.dump.file = wide(common_file("unused.dmp"));
    kit::crash_handler handler = kit::install_crash_handler(options);
    EXPECT_EQ(states(), std::vector(5, active));
    EXPECT_TRUE(kit::crash_handler_is_active());
    EXPECT_FALSE(kit::install_crash_handler().options_are_in_force());
    EXPECT_TRUE(handler.options_are_in_force() && kit::crash_handler_is_active()) << "after a second installation";
    do_to_helper(kill_helper);
    EXPECT_EQ(states(), (std::vector{active, active, active, active, replaced}));
    EXPECT_FALSE(kit::crash_handler_is_active());
    kit::crash_handler moved = std::move(handler);
    handler.uninstall();
    EXPECT_EQ(states()[0], active) << "moved from, it holds nothing";
  }
  EXPECT_EQ(states(), std::vector(5, unused));
  EXPECT_EQ(original.put(), others);
  // Somebody passes on to ours, or puts it back, when it has gone and comes once more.
  for (const bool put_back : {false, true}) {
    std::signal(SIGABRT, other_abort);
    {
      const kit::crash_handler handler = kit::install_crash_handler();
      kept_abort = std::signal(SIGABRT, pass_abort_on);
    }
    if (put_back) {
      std::signal(SIGABRT, kept_abort);
    }
    kit::install_crash_handler().uninstall();
    std::raise(SIGABRT);
  }
  EXPECT_EQ(others_aborts, 2);
  original.put();
  {
    kit::crash_handler_options options;
    options.invalid_parameters = false;
    const kit::crash_handler handler = kit::install_crash_handler(options);
    EXPECT_EQ(states(), (std::vector{active, active, active, unused, unused}));
    EXPECT_TRUE(kit::crash_handler_is_active());
    others.put();
    EXPECT_EQ(states(), (std::vector{replaced, replaced, replaced, unused, unused}));
    EXPECT_FALSE(kit::crash_handler_is_active());
  }
  EXPECT_EQ(original.put(), others);
}

TEST(CrashHandler, IsNotInstalledIfTheSystemOrTheProgramForTheDumpRefuses) {
  const auto refused = [](const std::function<void(kit::crash_handler_options&)>& change) {
    kit::crash_handler_options options;
    options.dump.file = wide(common_file("unused.dmp"));
    change(options);
    std::string what = "installed";
    EXPECT_TRUE(test_support::loses_no_handle([&] {
      try {
        const kit::crash_handler handler = kit::install_crash_handler(options);
      } catch (const std::exception& error) {
        what = error.what();
      }
    }));
    EXPECT_EQ(states(), std::vector(5, hook_state::unused));
    return what;
  };
  const auto nothing = [](auto&) {};
  const auto use = [](const std::string& helper) {
    return [helper](auto& options) { options.dump.helper = wide(helper); };
  };
  EXPECT_EQ(refused(nothing), "installed");
  EXPECT_THAT(refused(use(common_file("none.exe"))), HasSubstr("initializing child process"));
  EXPECT_THAT(refused(use(test_support::child_path("child"))), HasSubstr("the program that writes it has ended"));
  EXPECT_THAT(refused([](auto& options) { options.report_file.assign(1, u'\0'); }), HasSubstr("GetFullPathNameW"));
  EXPECT_THAT(refused([](auto& options) { options.dump.file.assign(1, u'\0'); }), HasSubstr("GetFullPathNameW"));
  const auto expect_refusal = [&](auto function, const char* name, auto result) {
    injected<decltype(function)> fault("libqxkit.dll", name);
    fault.fail_always(result, ERROR_NO_SYSTEM_RESOURCES);
    EXPECT_THAT(refused(nothing), HasSubstr(name));
  };
  expect_refusal(&CreateThread, "CreateThread", nullptr);
  expect_refusal(&CreateEventW, "CreateEventW", nullptr);
  expect_refusal(&DuplicateHandle, "DuplicateHandle", FALSE);
  expect_refusal(&CreateFileMappingW, "CreateFileMappingW", nullptr);
  expect_refusal(&MapViewOfFile, "MapViewOfFile", nullptr);
  expect_refusal(&SetInformationJobObject, "SetInformationJobObject", FALSE);
}

TEST(CrashHandler, ACallbackMayAskForTheHandlerWhenItIsCopiedAndWhenItGoes) {
  struct curious {
    curious() = default;
    curious(const curious&) { kit::crash_handler_is_active(); }
    ~curious() { kit::crash_handler_is_active(); }
    void operator()(const kit::crash&) const {}
  };
  kit::crash_handler_options options;
  options.callback = curious();
  kit::install_crash_handler(options).uninstall();
  options.report_file.assign(1, u'\0');
  EXPECT_ANY_THROW(static_cast<void>(kit::install_crash_handler(options)));
}

TEST(CrashHandler, ThreadsSetStackAsideAsLongAsItIsInstalled) {
  // Injected, since Wine sets nothing aside.
  std::atomic<ULONG> asked{0};
  injected<BOOL (*)(ULONG*)> guarantee("libqxkit.dll", "SetThreadStackGuarantee", [&](auto, ULONG* bytes) {
    asked = *bytes;
    return TRUE;
  });
  const auto asked_by_new_thread = [&] {
    asked = 0;
    ULONG at_first = 0;
    std::thread([&] { at_first = asked; }).join();
    return at_first;
  };
  EXPECT_FALSE(kit::reserve_stack_for_crash_report());
  {
    kit::crash_handler_options options;
    options.stack_reserve = 40000;
    const kit::crash_handler handler = kit::install_crash_handler(options);
    EXPECT_EQ(asked, 40000u) << "by the thread that installs";
    EXPECT_EQ(asked_by_new_thread(), 40000u);
    asked = 0;
    EXPECT_TRUE(kit::reserve_stack_for_crash_report());
    EXPECT_EQ(asked, 40000u);
    guarantee.fail_always(FALSE, ERROR_INVALID_PARAMETER);
    EXPECT_FALSE(kit::reserve_stack_for_crash_report());
    guarantee.reset();
  }
  EXPECT_EQ(asked_by_new_thread(), 0u);
}

}  // namespace

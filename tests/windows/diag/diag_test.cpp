// Contexts, stacks and symbols within a living process. How processes end is seen by terminate_crash_test.

#include <fl/diag.hpp>

#include "as_written.hpp"
#include "every_test.hpp"
#include "import_patch.hpp"

#include <windows.h>
#include <dbghelp.h>

#include <regex>

/// Shown in stacks in place of the program's file.
extern "C" __declspec(dllexport) const char* diag_test_relative_path;
const char* diag_test_relative_path = "bin/diag_test";

namespace {

using namespace foundation::core::diag;
using test_support::injected;

std::string symbolic_form(const stacktrace_base& stack, const void* start = nullptr) {
  std::ostringstream os;
  stack.format(os, start);
  return os.str();
}

/// The line of a frame in `function` of this program.
std::string line_of(const std::string& number, const std::string& function) {
  return "\\[" + number + "\\] 0x[0-9a-f]{16} {38}bin/diag_test\\+\\d{8} (?:`anonymous namespace'::)?" + function +
         "\\+\\d{8}\n";
}

bool begins_with(const std::string& text, const std::string& pattern) {
  return std::regex_search(text, std::regex(pattern), std::regex_constants::match_continuous);
}

AS_WRITTEN void capture_here(stacktrace_base& stack) {
  stack.capture(1);
  asm volatile("");  // Or the call would be a jump, and nothing of this function on the stack.
}

AS_WRITTEN thread_context context_here() {
  return {};
}

AS_WRITTEN void capture_from_context(stacktrace_base& stack) {
  const thread_context here = context_here();
  thread_context later;
  later.capture();
  stack.capture(later, 0);
  EXPECT_FALSE(here.compare(later));
}

TEST(Stacktrace, NamesTheFunctionsOfTheProgramWithModuleAndOffset) {
  stacktrace<3> stack;
  EXPECT_TRUE(begins_with(symbolic_form(stack), R"(\[  0\] 0x[0-9a-f]{16} +\S+\\libqxfl.dll\+\d{8} )"
                                                R"(foundation::core::diag::stacktrace_base::capture\+\d{8}\n)"));
  capture_here(stack);
  EXPECT_TRUE(begins_with(symbolic_form(stack), line_of("  0", "capture_here"))) << symbolic_form(stack);
  capture_from_context(stack);
  EXPECT_TRUE(begins_with(symbolic_form(stack), line_of("  0", "capture_from_context"))) << symbolic_form(stack);
  EXPECT_TRUE(begins_with(symbolic_form(stack, stack[1]), R"(\[  0\] 0x[0-9a-f]{16} +bin/diag_test\+\d{8} )"));
  const thread_context here;
  EXPECT_EQ(stacktrace<64>(here).size(), stacktrace<64>(here, 2).size() + 2);
}

TEST(Stacktrace, NeedsAContextAndStaysAsItIsWithoutOne) {
  stacktrace<8> stack;
  const stacktrace<8> before = stack;
  EXPECT_THAT([&] { stack.capture(thread_context(false), 0); },
              testing::ThrowsMessage<bad_thread_context>("cannot capture stack for empty thread context"));
  EXPECT_TRUE(stack.compare_top_n(9, before));
}

// What a corrupt stack makes of the system's calls, injected. In plain functions: a fault leaves them
// without an end.

std::atomic<test_support::import_patch::any_function> original{nullptr};

WORD WINAPI fault_in_capture(DWORD, DWORD, void** frames, DWORD*) {
  std::fill_n(frames, 6, frames);
  RaiseException(EXCEPTION_ACCESS_VIOLATION, 0, 0, nullptr);
  return 6;
}

int steps = 0;

BOOL WINAPI fault_in_third_step(DWORD machine, HANDLE process, HANDLE thread, STACKFRAME64* frame, void* context,
                                PREAD_PROCESS_MEMORY_ROUTINE64 read, PFUNCTION_TABLE_ACCESS_ROUTINE64 table,
                                PGET_MODULE_BASE_ROUTINE64 base, PTRANSLATE_ADDRESS_ROUTINE64 translate) {
  if (++steps == 3) {
    RaiseException(EXCEPTION_ACCESS_VIOLATION, 0, 0, nullptr);
  }
  return reinterpret_cast<decltype(&StackWalk64)>(original.load())(machine, process, thread, frame, context, read,
                                                                   table, base, translate);
}

template <class Function>
test_support::import_patch::any_function plain(Function function) {
  return reinterpret_cast<test_support::import_patch::any_function>(function);
}

TEST(Stacktrace, DropsNullFramesAtItsEndAndSurvivesAFaultOnTheWay) {
  stacktrace<8> stack(0, false);
  {
    injected<WORD(WINAPI*)(DWORD, DWORD, void**, DWORD*)> capture("libqxfl.dll", "RtlCaptureStackBackTrace");
    capture.handle_with([](auto, DWORD skip, DWORD capacity, void** frames, DWORD*) -> WORD {
      EXPECT_TRUE(skip == 3 && capacity == 8);
      std::fill_n(frames, 6, nullptr);
      frames[1] = frames;
      return 6;
    });
    stack.capture(3);
    EXPECT_EQ(stack.size(), 2u);
  }
  {
    const test_support::import_patch fault("libqxfl.dll", "RtlCaptureStackBackTrace", plain(fault_in_capture),
                                           original);
    stack.capture(0);
    EXPECT_TRUE(stack.empty());
  }
  injected<decltype(&SymInitialize)> start("libqxfl.dll", "SymInitialize");
  injected<decltype(&SymCleanup)> stop("libqxfl.dll", "SymCleanup");
  {
    const test_support::import_patch fault("libqxfl.dll", "StackWalk64", plain(fault_in_third_step), original);
    stack.capture(0);
    stack.capture(thread_context(), 0);
    EXPECT_EQ(steps, 3);
    EXPECT_TRUE(stack.empty());
  }
  stack.capture(thread_context(), 0);  // The service and its lock have been let go.
  EXPECT_FALSE(stack.empty());
  EXPECT_EQ(start.calls(), 2u);
  EXPECT_EQ(stop.calls(), 2u);
}

TEST(SymbolService, ThatDoesNotStartLeavesModulesAndIsTriedAgain) {
  stacktrace<64> stack;
  capture_here(stack);
  injected<decltype(&SymInitialize)> start("libqxfl.dll", "SymInitialize");
  injected<decltype(&SymCleanup)> stop("libqxfl.dll", "SymCleanup");
  start.fail_at(1, FALSE, ERROR_GEN_FAILURE);
  EXPECT_TRUE(begins_with(symbolic_form(stack), R"(\[  0\] 0x[0-9a-f]{16} {38}bin/diag_test\+\d{8}\n)"));
  start.fail_at(2, FALSE, ERROR_GEN_FAILURE);
  EXPECT_TRUE(stacktrace<8>(thread_context()).empty());
  EXPECT_EQ(stop.calls(), 0u);
  EXPECT_TRUE(begins_with(symbolic_form(stack), line_of("  0", "capture_here")));
  EXPECT_EQ(stop.calls(), 1u);
}

// None of the service's functions is safe beside another one, the one that makes names readable included.
TEST(SymbolService, IsNotAskedByTwoThreadsAtOnceForAnything) {
  stacktrace<64> stack;
  capture_here(stack);
  std::atomic<bool> inside{false};
  std::thread other;
  const injected<decltype(&UnDecorateSymbolName)> undecorate("libqxfl.dll", "UnDecorateSymbolName", [&](auto...) {
    EXPECT_FALSE(inside);
    return DWORD{0};
  });
  const injected<decltype(&SymFromAddr)> find("libqxfl.dll", "SymFromAddr", [&](auto found, auto... arguments) {
    if (!other.joinable()) {
      inside = true;
      other = std::thread([] { detail::demangle_typeid_name("?", false); });
      Sleep(100);  // Time enough for a thread that does not wait.
      inside = false;
    }
    return found(arguments...);
  });
  symbolic_form(stack);
  ASSERT_TRUE(other.joinable());
  other.join();
  EXPECT_EQ(undecorate.calls(), 1u);
}

TEST(Stacktrace, ManyThreadsCaptureAndPrintAtOnce) {
  injected<decltype(&SymInitialize)> start("libqxfl.dll", "SymInitialize");
  injected<decltype(&SymCleanup)> stop("libqxfl.dll", "SymCleanup");
  const auto capture_and_print = [] {
    stacktrace<4> stack(0, false);
    for (int round = 0; round < 3; ++round) {
      capture_here(stack);
      EXPECT_TRUE(begins_with(symbolic_form(stack), line_of("  0", "capture_here")));
      capture_from_context(stack);
      EXPECT_FALSE(stack.empty());
    }
  };
  std::vector<std::jthread> threads;
  for (int number = 0; number < 4; ++number) {
    threads.emplace_back(capture_and_print);
  }
  threads.clear();
  EXPECT_GE(start.calls(), 1u);
  EXPECT_EQ(start.calls(), stop.calls());  // Nobody holds the service any more.
}

TEST(Symbols, AreFoundByAddress) {
  const auto program = symbols::getModuleAddress(reinterpret_cast<const void*>(&symbolic_form));
  EXPECT_EQ(program, reinterpret_cast<const void*>(GetModuleHandleW(nullptr)));
  void* const reserved = VirtualAlloc(nullptr, 1, MEM_RESERVE, PAGE_READWRITE);
  EXPECT_EQ(symbols::getModuleAddress(reserved), nullptr);
  VirtualFree(reserved, 0, MEM_RELEASE);
  EXPECT_EQ(symbols::getSymbolAddress(program, "diag_test_relative_path"), &diag_test_relative_path);
  EXPECT_EQ(symbols::getSymbolAddress(nullptr, "diag_test_relative_path"), nullptr);
}

TEST(Demangle, GivesReadableNamesAndIsStrictOnlyWhenAsked) {
  using detail::demangle_typeid_name;
  EXPECT_EQ(demangle_typeid_name(typeid(std::vector<int>).name(), true), "std::vector<int, std::allocator<int> >");
  EXPECT_EQ(demangle_typeid_name(typeid(std::make_index_sequence<500>).name(), true).size(), 1023u);
  injected<decltype(&UnDecorateSymbolName)> undecorate("libqxfl.dll", "UnDecorateSymbolName");
  undecorate.handle_with([](auto, PCSTR, PSTR buffer, DWORD size, DWORD) -> DWORD {
    EXPECT_EQ(size, 1024u);
    return static_cast<DWORD>(std::strlen(std::strcpy(buffer, "readable")));
  });
  EXPECT_EQ(demangle_typeid_name("?", true), "readable");
  undecorate.fail_always(0, ERROR_INVALID_DATA);  // Wine's reads every name.
  EXPECT_EQ(demangle_typeid_name("?", false), "?");
  EXPECT_THAT([] { demangle_typeid_name("?", true); }, testing::ThrowsMessage<std::invalid_argument>("?"));
  EXPECT_EQ(demangle_typeid_name(nullptr, false), "");
  EXPECT_THAT([] { demangle_typeid_name(nullptr, true); }, testing::ThrowsMessage<std::invalid_argument>("<null>"));
}

}  // namespace

// Commands that do to their streams whatever a command can do, and a system that refuses.

#include "children.hpp"
#include "endless.hpp"
#include "every_test.hpp"
#include "import_patch.hpp"
#include "refusals.hpp"

#include <kit/by_lines.hpp>
#include <kit/run.hpp>

#include <windows.h>
#include <psapi.h>

namespace kit = foundation::kit;
namespace process = foundation::core::process;
using namespace std::chrono_literals;
using children::command;
using test_support::injected;
using test_support::loses_no_handle;
using testing::HasSubstr;

namespace {

constexpr char kit_dll[] = "libqxkit.dll";
constexpr std::size_t huge = 3'000'000;  // far more than all pipes hold

kit::run_limits draining(std::chrono::milliseconds drain) {
  kit::run_limits limits;
  limits.drain = drain;
  return limits;
}

kit::run_options with_input(std::string text) {
  kit::run_options options;
  options.input = std::move(text);
  return options;
}

struct stop_here : std::exception {};

}  // namespace

TEST(Run, GivesWhatTheCommandWroteAndHowItEnded) {
  const kit::run_result echo = kit::run(command("echo", {"told"}), {}, {}, with_input("in\r\n\xE9"));
  EXPECT_EQ(echo.out.bytes, "in\r\n\xE9");
  EXPECT_EQ(echo.out.text(), "in\n\uFFFD");
  EXPECT_EQ(echo.out.text("ISO-8859-1"), "in\n\u00E9");
  EXPECT_EQ(echo.err.wide_text(), u"told");
  EXPECT_TRUE(echo.succeeded() && !echo.input_refused && !echo.out.given_up);
  EXPECT_GT(echo.wall_time, 0s);

  const kit::run_result still_active = kit::run(command("exit", {"259"}));
  EXPECT_EQ(still_active.exit_code(), 259u);
  EXPECT_FALSE(still_active.succeeded());
}

TEST(Run, MovesMuchThroughAllStreamsAtOnceThoughTheSystemTakesItInParts) {
  injected<BOOL(WINAPI*)(HANDLE, const void*, DWORD, DWORD*, OVERLAPPED*)> short_writes(
      kit_dll, "WriteFile", [](auto original, HANDLE to, const void* from, DWORD bytes, DWORD* done, OVERLAPPED* how) {
        return original(to, from, std::min<DWORD>(bytes, 50'001), done, how);
      });
  std::size_t pieces = 0, lines = 0;
  kit::run_options options;
  options.next_input = [&] { return ++pieces <= 30 ? std::string(huge / 30, 'i') : std::string(); };
  options.on_err = kit::by_lines([&](std::string_view line) { lines += line.size(); });
  const kit::run_result all = kit::run(command("flood", {std::to_string(huge)}), {}, {}, options);
  EXPECT_EQ(all.out.bytes, std::string(huge, 'x') + std::to_string(huge));
  EXPECT_TRUE(all.err.bytes.size() == huge && lines == huge);
  EXPECT_FALSE(all.input_refused);

  kit::run_limits limits;
  limits.output = 1000;
  const kit::run_result kept = kit::run(command("flood", {std::to_string(huge)}), {}, limits);
  EXPECT_TRUE(kept.succeeded());
  EXPECT_EQ(kept.out.bytes, std::string(999, 'x') + "0");
  EXPECT_EQ(kept.out.dropped, huge + 1 - 1000);
  EXPECT_TRUE(kept.err.bytes.size() == 1000 && kept.err.dropped == huge - 1000);
}

TEST(Run, AStreamThatTheChildClosesIsNoError) {
  EXPECT_TRUE(kit::run(command("close", {"i", "exit", "0"}), {}, {}, with_input(std::string(huge, 'i'))).input_refused);
  EXPECT_TRUE(kit::run(command("exit", {"0"}), {}, {}, with_input(std::string(huge, 'i'))).succeeded());
  children::common_event event;
  const std::string name = event.waiting().args()[1];
  const std::jthread later([&] {
    Sleep(50);
    event.set();
  });
  EXPECT_TRUE(kit::run(command("close", {"oe", "wait", name})).succeeded()) << "goes on without outputs";
}

TEST(Run, RespectsTheStreamsOfTheContextAndRefusesTwoInputs) {
  process::context how;
  how.std_out(process::discard());
  EXPECT_EQ(kit::run(command("out", {"text"}), how).out.bytes, "");
  how.std_out(process::inherit_from_parent()).std_err(process::merge_with_stdout());
  EXPECT_EQ(kit::run(command("echo", {"err,"}), how, {}, with_input("out")).out.bytes, "err,out");
  how.std_in(process::read_from_file(test_support::child_path("child")));
  EXPECT_EQ(kit::run(command("echo"), how).out.bytes.substr(0, 2), "MZ");
  EXPECT_THROW(kit::run(command("echo"), how, {}, with_input("")), std::invalid_argument);
  kit::run_options both = with_input("");
  both.inherit_input = true;
  EXPECT_THROW(kit::run(command("echo"), {}, {}, both), std::invalid_argument);
}

TEST(Run, AProcessThatKeepsTheOutputsIsWaitedForAWhileAndThenEnded) {
  endless event;
  const kit::run_result kept = kit::run(command("leave", {"wait", event.name()}), {}, draining(100ms));
  EXPECT_TRUE(kept.succeeded() && kept.out.given_up && kept.err.given_up);
  event.wait_until_alone();

  kit::run_limits limits = draining(100ms);
  limits.output = 100;
  const kit::run_result flooded = kit::run(command("leave", {"flood", "1000000000000"}), {}, limits);
  EXPECT_TRUE(flooded.succeeded() && flooded.out.given_up) << "never at rest";
}

TEST(Run, AtTheTimeLimitTheTreeEnds) {
  endless event;
  kit::run_limits limits;
  limits.time = 500ms;
  const kit::run_result ended =
      kit::run(command("tree", {event.name()}), {}, limits, with_input(std::string(huge, 'i')));
  EXPECT_EQ(ended.end, kit::run_end::time_limit);
  EXPECT_EQ(ended.exit_code(), 1u);
  EXPECT_TRUE(ended.input_refused && !ended.out.given_up);
  event.wait_until_alone();
}

TEST(Run, ACancelledCommandEndsWithItsTreeOrDoesNotStart) {
  endless event;
  EXPECT_TRUE(loses_no_handle([&] {
    const kit::cancellation cancel;
    kit::run_options options;
    options.cancellation = cancel;
    options.on_out = [&](std::string_view) { cancel.request(); };  // whatever else it is, the tree is there
    const kit::run_result ended = kit::run(command("tree", {event.name()}), {}, {}, options);
    EXPECT_EQ(ended.end, kit::run_end::cancelled);
    EXPECT_EQ(ended.out.bytes, "ready");
    event.wait_until_alone();

    std::stop_source stop;
    options.on_out = [&](std::string_view) { stop.request_stop(); };
    options.cancellation.reset();
    EXPECT_EQ(kit::run(command("tree", {event.name()}), {}, {}, options, stop.get_token()).end,
              kit::run_end::cancelled);
    EXPECT_EQ(kit::run(process::command("C:\\is not there"), {}, {}, {}, stop.get_token()).end,
              kit::run_end::cancelled);
    // Nor is what the command has left running waited for any longer.
    std::stop_source later;
    const std::jthread stopping([&] {
      Sleep(100);
      later.request_stop();
    });
    kit::run(command("leave", {"wait", event.name()}), {}, draining(24h), {}, later.get_token());
  }));
}

TEST(Run, AThrowingCallbackEndsTheTreeAndLeavesNothing) {
  endless event;
  const auto throws = [](const kit::run_options& options, const process::command& what) {
    EXPECT_THROW(kit::run(what, {}, {}, options), stop_here);
  };
  EXPECT_TRUE(loses_no_handle([&] {
    kit::run_options options = with_input(std::string(huge, 'i'));  // a write is under way, and a read
    options.on_out = [calls = 0](std::string_view) mutable {
      EXPECT_EQ(calls++, 0) << "begun by the run before";
      throw stop_here();
    };
    throws(options, command("tree", {event.name()}));
    event.wait_until_alone();
    throws(options, command("exit", {"0"}));  // at the end of the output

    options = {};
    options.next_input = [calls = 0]() mutable {
      return ++calls != 3 ? std::string("x", calls < 3) : throw stop_here();
    };
    throws(options, command("tree", {event.name()}));
    event.wait_until_alone();
    throws(options, command("echo"));  // anew from its first piece
  }));
}

TEST(Run, ThrowsOnRequestWhatAFailedCommandSaid) {
  kit::run_options options = with_input("x");
  options.check = true;
  EXPECT_TRUE(kit::run(command("echo"), {}, {}, options).succeeded());
  try {
    kit::run(command("close", {"o", "echo", std::string(3000, 'a') + "\nthe reason\n"}), {}, {}, options);
    ADD_FAILURE() << "nothing thrown";
  } catch (const kit::run_error& error) {
    EXPECT_EQ(error.result().exit_code(), 1u);
    const std::string text = error.what();
    EXPECT_THAT(text,
                testing::AllOf(HasSubstr("child.exe close o echo aaa"), testing::EndsWith("exit code 1:\nthe reason")));
  }
}

// The emulated system counts neither for a job nor, once it has ended, for a process.
TEST(Run, CountsTheTreeAndAtLeastTheChild) {
  injected<decltype(&QueryInformationJobObject)> tree(
      kit_dll, "QueryInformationJobObject", [](auto, auto, JOBOBJECTINFOCLASS which, void* to, auto, auto) {
        if (which == JobObjectExtendedLimitInformation) {
          static_cast<JOBOBJECT_EXTENDED_LIMIT_INFORMATION*>(to)->PeakJobMemoryUsed = 1000;
        } else {
          static_cast<JOBOBJECT_BASIC_ACCOUNTING_INFORMATION*>(to)->TotalUserTime.QuadPart = 30'000'000'000;
        }
        return TRUE;
      });
  injected<decltype(&GetProcessMemoryInfo)> child(kit_dll, "K32GetProcessMemoryInfo",
                                                  [](auto, auto, PROCESS_MEMORY_COUNTERS* to, auto) {
                                                    to->PeakPagefileUsage = 700;
                                                    return TRUE;
                                                  });
  const kit::run_result counted = kit::run(command("exit", {"0"}));
  EXPECT_EQ(counted.user_time, 50min);
  EXPECT_EQ(counted.peak_memory, 1000u);
  tree.fail_always(FALSE, ERROR_INVALID_FUNCTION);
  EXPECT_EQ(kit::run(command("exit", {"0"})).peak_memory, 700u);
}

TEST(Run, CommandsSideBySideDoNotKeepEachOthersPipes) {
  endless event;
  const kit::cancellation cancel;
  kit::run_options until_cancelled;
  until_cancelled.cancellation = cancel;
  std::atomic<int> kept{0};
  {
    std::vector<std::jthread> threads;
    for (int thread = 0; thread != 4; ++thread) {
      threads.emplace_back([&] {
        const std::jthread waiting([&] { kit::run(command("wait", {event.name()}), {}, {}, until_cancelled); });
        for (int i = 0; i != 5; ++i) {
          kept += kit::run(command("echo"), {}, draining(10s), with_input("x")).out.given_up;
        }
        cancel.request();
      });
    }
  }
  EXPECT_EQ(kept, 0);
}

TEST(Run, APipeNameThatIsTakenIsNotTheLast) {
  injected<decltype(&CreateNamedPipeW)> create(kit_dll, "CreateNamedPipeW");
  create.fail_at(1, INVALID_HANDLE_VALUE, ERROR_ACCESS_DENIED);
  EXPECT_TRUE(kit::run(command("exit", {"0"})).succeeded());
  create.fail_always(INVALID_HANDLE_VALUE, ERROR_PIPE_BUSY);
  EXPECT_THROW(kit::run(command("exit", {"0"})), boost::system::system_error);
}

TEST(Run, WhatTheSystemRefusesIsThrownAndLeavesNothing) {
  EXPECT_TRUE(loses_no_handle(
      [] { EXPECT_THROW(kit::run(process::command("C:\\is not there")), process::process_init_error); }));
  const auto refused = [](const std::function<std::string()>& operation) {
    std::string unexpected;
    for (const auto& [call, outcome] : test_support::refuse_each_call([&] { return operation; }, kit_dll)) {
      const bool thrown = outcome.find("system_error: " + call + "!") != std::string::npos;
      unexpected += thrown || call == "new" ? "" : call + ": " + outcome + "\n";
      EXPECT_TRUE(call != "new" || outcome.starts_with("bad_alloc: std::bad_alloc | process_init_error")) << outcome;
    }
    return unexpected;
  };
  // Refused as often as they are called, without a difference: CancelIoEx, TerminateJobObject, what counts, what
  // closes.
  EXPECT_EQ(refused([] {
              const kit::run_result result = kit::run(command("echo", {"told"}), {}, {}, with_input("in"));
              return result.out.bytes + result.err.bytes + std::to_string(result.exit_code().value_or(99));
            }),
            "");
  endless event;
  EXPECT_EQ(refused([&] {
              const kit::run_result result = kit::run(command("leave", {"wait", event.name()}), {}, draining(1ms));
              event.wait_until_alone();
              return std::to_string(result.out.given_up) + std::to_string(result.exit_code().value_or(99));
            }),
            "");
}

// Many commands, some at a time: in order, without loss, and ended with whoever ends the call.

#include "children.hpp"
#include "endless.hpp"
#include "every_test.hpp"
#include "import_patch.hpp"
#include "seeded_random.hpp"

#include <kit/run_all.hpp>

#include <windows.h>

namespace kit = foundation::kit;
namespace process = foundation::core::process;
using namespace std::chrono_literals;
using children::command;
using test_support::injected;
using test_support::loses_no_handle;

namespace {

struct stop_here : std::exception {};

std::vector<process::command> numbered(int count) {
  std::vector<process::command> commands;
  for (int i = 0; i != count; ++i) {
    commands.push_back(command("exit", {std::to_string(i)}));
  }
  return commands;
}

// One of the things that a command can do to those who run it, and whether it went as it must.
struct trial {
  kit::run_request request;
  std::function<bool(const kit::run_result&)> is_right;
};

trial make_trial(std::uint64_t kind, const std::string& event, test_support::seeded_random& random) {
  const std::size_t size = random.below(300'000);
  trial made = {{command("echo", {"told"})}, nullptr};
  switch (kind) {
    case 0:
      made.request.what = command("flood", {std::to_string(size)});
      made.request.limits.output = 1000;
      made.is_right = [size](const kit::run_result& result) {
        return result.succeeded() && result.out.bytes.size() + result.out.dropped == size + 1 &&
               result.err.bytes.size() + result.err.dropped == size;
      };
      return made;
    case 1:
      made.request.what = command("leave", {"wait", event});
      made.request.limits.drain = 20ms;
      made.is_right = [](const kit::run_result& result) { return result.succeeded() && result.out.given_up; };
      return made;
    case 2:
      made.request.what = command("tree", {event});
      made.request.limits.time = std::chrono::milliseconds(random.below(300));
      made.is_right = [](const kit::run_result& result) { return result.end == kit::run_end::time_limit; };
      return made;
    default:
      made.request.options.input = random.text<std::string>(size, "abc\n");
      made.is_right = [text = *made.request.options.input](const kit::run_result& result) {
        return result.succeeded() && result.out.bytes == text && result.err.bytes == "told";
      };
      return made;
  }
}

}  // namespace

TEST(RunAll, ResultsHaveTheOrderOfTheCommandsAndOneThatCannotStartIsNoLoss) {
  std::vector<process::command> commands = numbered(12);
  commands[5].name("C:\\is not there");
  std::atomic<int> running{0}, most{0};
  injected<decltype(&CreateProcessW)> launches("CreateProcessW", [&](auto original, auto... arguments) {
    most = std::max<int>(most, ++running);
    Sleep(20);
    const BOOL made = original(arguments...);
    --running;
    return made;
  });
  std::map<std::size_t, int> told;
  const auto caller = std::this_thread::get_id();
  kit::run_all_options options;
  options.on_end = [&](std::size_t index, const kit::run_outcome& outcome) {
    EXPECT_EQ(caller, std::this_thread::get_id());
    told[index] += outcome.error ? 100 : 1;
  };
  const std::vector<kit::run_outcome> outcomes = kit::run_all(commands, 3, {}, options);
  ASSERT_EQ(outcomes.size(), 12u);
  EXPECT_EQ(most, 3);
  for (std::size_t i = 0; i != outcomes.size(); ++i) {
    EXPECT_EQ(told[i], i == 5 ? 100 : 1);
    EXPECT_EQ(outcomes[i].result.exit_code(), i == 5 ? std::nullopt : std::optional(static_cast<unsigned>(i)));
  }
  EXPECT_THROW(std::rethrow_exception(outcomes[5].error), process::process_init_error);
  EXPECT_TRUE(outcomes[0].succeeded() && !outcomes[1].succeeded());
  EXPECT_TRUE(kit::run_all(std::vector<process::command>()).empty());
}

TEST(RunAll, RequestsHaveTheirOwnSettingsAndTheirOwnCallbacksFailThemAlone) {
  std::vector<kit::run_request> requests(3, kit::run_request{command("echo", {"e"})});
  requests[0].options.input = "text";
  requests[1].options.on_err = [](std::string_view) { throw stop_here(); };
  requests[2] = {command("exit", {"3"})};
  requests[2].options.check = true;
  const auto outcomes = kit::run_all(requests);
  EXPECT_EQ(outcomes[0].result.out.bytes, "text");
  EXPECT_THROW(std::rethrow_exception(outcomes[1].error), stop_here);
  EXPECT_THROW(std::rethrow_exception(outcomes[2].error), kit::run_error);
  EXPECT_EQ(outcomes[2].result.exit_code(), 3u);
}

// Each of these would wait for ever if anything that runs were left running.
TEST(RunAll, WhoeverEndsTheCallEndsAllThatRunsAndStartsNoMore) {
  const endless event;
  std::vector<process::command> commands(7, command("wait", {event.name()}));
  commands[0] = command("exit", {"9"});
  EXPECT_TRUE(loses_no_handle([&] {
    kit::run_all_options throwing;
    throwing.on_end = [](std::size_t, const kit::run_outcome&) { throw stop_here(); };
    EXPECT_THROW(kit::run_all(commands, 3, {}, throwing), stop_here);

    kit::run_all_options at_failure;
    at_failure.stop_at_failure = true;
    const auto failed = kit::run_all(commands, 3, {}, at_failure);
    EXPECT_EQ(failed[0].result.exit_code(), 9u);
    EXPECT_TRUE(std::all_of(failed.begin() + 1, failed.end(), [](const auto& each) {
      return each.result.end == kit::run_end::cancelled && !each.error && !each.succeeded();
    }));
    EXPECT_FALSE(failed[6].result.exit_code()) << "never started";

    std::stop_source stop;
    kit::run_all_options cancelling;
    int told = 0;
    cancelling.on_end = [&](std::size_t, const kit::run_outcome&) {
      ++told;
      stop.request_stop();
    };
    const auto cancelled = kit::run_all(commands, 3, {}, cancelling, stop.get_token());
    EXPECT_EQ(cancelled[1].result.end, kit::run_end::cancelled);
    EXPECT_TRUE(told >= 3 && told < 7) << told;
    injected<decltype(&CreateProcessW)> launches("CreateProcessW");
    kit::run_all(commands, 3, {}, cancelling, stop.get_token());
    EXPECT_EQ(launches.calls(), 0u) << "cancelled before it began";

    // Others have ended meanwhile, which are told of first.
    stop = {};
    std::uint64_t begun = 0;
    cancelling.on_end = [&](std::size_t index, const kit::run_outcome&) {
      if (index == 0) {
        stop.request_stop();
        begun = launches.calls();
        Sleep(500);
      }
    };
    kit::run_all(numbered(30), 1, {}, cancelling, stop.get_token());
    EXPECT_LE(launches.calls(), begun + 1) << "the next may have been on the way";
  }));
}

TEST(RunAll, TheSystemsRefusalsEndTheCall) {
  const endless event;
  const std::vector<process::command> commands(3, command("wait", {event.name()}));
  EXPECT_TRUE(loses_no_handle([&] {
    const DWORD caller = GetCurrentThreadId();
    injected<decltype(&WaitForMultipleObjects)> wait("libqxkit.dll", "WaitForMultipleObjects");
    wait.handle_with([&](auto original, auto... arguments) {
      if (GetCurrentThreadId() == caller) {
        SetLastError(ERROR_NOT_ENOUGH_QUOTA);
        return WAIT_FAILED;
      }
      return original(arguments...);
    });
    EXPECT_THROW(kit::run_all(commands, 3), boost::system::system_error);
    injected<decltype(&CreateEventW)> create("libqxkit.dll", "CreateEventW");
    create.fail_at(2, nullptr, ERROR_NOT_ENOUGH_QUOTA);  // behind that of the request to stop
    EXPECT_THROW(kit::run_all(commands, 3), boost::system::system_error);
  }));
}

// QXFL_SOAK_RUNS says how many runs: a few here, ten thousand before a release.
TEST(RunAll, ManyRunsOfAllKindsLoseNoByteNoHandleAndNoProcess) {
  const char* const wanted = std::getenv("QXFL_SOAK_RUNS");
  const int runs = wanted != nullptr ? std::atoi(wanted) : 40;
  constexpr int batch = 40;
  test_support::seeded_random random;
  endless event;
  EXPECT_TRUE(loses_no_handle([&] {
    for (int done = 0; done < runs; done += batch) {
      std::vector<kit::run_request> requests;
      std::vector<std::function<bool(const kit::run_result&)>> right;
      for (std::uint64_t i = 0; i != batch; ++i) {
        trial made = make_trial(i % 6, event.name(), random);
        requests.push_back(std::move(made.request));
        right.push_back(std::move(made.is_right));
      }
      kit::run_all_options options;
      options.on_end = [&](std::size_t i, const kit::run_outcome& outcome) {
        EXPECT_TRUE(!outcome.error && right[i](outcome.result)) << requests[i].what << " in run " << done + int(i);
      };
      kit::run_all(requests, 8, options);
    }
    event.wait_until_alone();
  }));
}

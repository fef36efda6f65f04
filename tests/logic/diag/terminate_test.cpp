// The way of a termination from its call to the final stage. The system is scripted. The tests stand in the order of
// what stays: terminations are called, and a full log is full.

#include <fl/diag/terminate.hpp>
#include <fl/diag/terminate_handler.hpp>

#include "as_written.hpp"
#include "diag/report/report.hpp"
#include "diag/terminate_engine.hpp"
#include "every_test.hpp"
#include "host/diag_platform.hpp"

#include <boost/format.hpp>

#include <csignal>
#include <latch>

namespace {

using namespace foundation::core::diag;
using foundation::core::test::terminate_handled;
using foundation::core::test::terminate_handler;
using test_support::host_system;
using test_support::run_to_final_stage;

using Termination = test_support::scripted_test;

std::string without_thread_id(std::string text) {
  for (auto id = text.find("' id "); id != text.npos; id = text.find("' id ", id)) {
    text.erase(id, text.find('\n', id) - id);
  }
  return text;
}

std::string report_of(const report_event& event, const thread_context& context = false) {
  std::ostringstream os;
  write_report(os, event, context);
  return without_thread_id(os.str());
}

constexpr int thread_count = 8;

TEST_F(Termination, ThreadsThatReportReadAndObserveAtOnceBuildTheEngineOnceAndMeetInNothing) {
  std::latch start(thread_count);
  std::vector<std::thread> threads;
  for (int number = 0; number < thread_count; ++number) {
    threads.emplace_back([&start] {
      start.arrive_and_wait();
      for (int round = 0; round < 50; ++round) {
        EXPECT_FALSE(terminate_called());
        terminate_log("message", thread_context());
        const termination_observer observer(round % 2 == 0 ? default_termination_observer : nullptr);
      }
    });
  }
  for (auto& thread : threads) {
    thread.join();
  }
  EXPECT_STREQ(terminate_log(), "");
}

/// The message of the termination that `end` runs into, under a handler.
template <class End>
void expect_terminated(End end, const std::string& message) {
  const terminate_handler handler;
  std::thread([] { const terminate_handler of_another_thread; }).join();
  try {
    end();
    ADD_FAILURE() << message;
  } catch (...) {
    EXPECT_TRUE(terminate_handled() && terminate_handled(message)) << message;
    EXPECT_FALSE(terminate_handled(message + "."));
  }
}

TEST_F(Termination, BringsEveryFormOfMessageToATest) {
  std::ostringstream written;
  written << "written";
  std::stringstream both("both");
  both.get();
  expect_terminated([] { terminate("plain", "f", 1, "g"); }, "plain");
  expect_terminated([] { terminate(static_cast<const char*>(nullptr), nullptr, 0, nullptr); }, "");
  expect_terminated([] { terminate(std::string("string"), "f", 1, "g"); }, "string");
  expect_terminated([] { terminate(boost::format("%1% of %2%") % 1 % "two", "f", 1, "g"); }, "1 of two");
  expect_terminated([&] { terminate(written, "f", 1, "g"); }, "written");
  expect_terminated([&] { terminate(both, "f", 1, "g"); }, "both");
  EXPECT_EQ(both.tellg(), 1);
  expect_terminated([] { terminate(foundation::core::ustring(u"\u00E9"), "f", 1, "g"); }, "\\u00E9");
  expect_terminated([] { terminate(u"wide", "f", 1, "g"); }, "wide");
  expect_terminated([] { terminate(static_cast<const char16_t*>(nullptr), "f", 1, "g"); }, "");
  const auto lacking = [] { terminate(boost::format("%1% of %2%") % 1, "f", 1, "g"); };
  EXPECT_THROW(expect_terminated(lacking, "not terminated"), boost::io::too_few_args);
  EXPECT_FALSE(terminate_called());
}

TEST(TerminateDeathTest, TwoHandlersOnOneThreadEndTheProcess) {
  const auto nest = [] {
    const terminate_handler outer;
    const terminate_handler inner;
  };
  EXPECT_EXIT(nest(), testing::KilledBySignal(SIGABRT), "");
}

TEST_F(Termination, ShowsNoDialogIfTheEnvironmentSaysSo) {
  constexpr const char *disable = "QX_DISABLE_TERMINATE_DIALOG", *mode = "QX_CRASH_MODE";
  const struct {
    const char *disable, *mode;
    bool off;
  } cases[] = {{nullptr, nullptr, false},  {nullptr, "default", false}, {nullptr, "continue", false},
               {nullptr, "Default", true}, {"0", "batch", false},       {"00", "default", true}};
  for (const auto& each : cases) {
    each.disable != nullptr ? setenv(disable, each.disable, 1) : unsetenv(disable);
    each.mode != nullptr ? setenv(mode, each.mode, 1) : unsetenv(mode);
    host_system().writes_to_standard_error = false;
    std::make_unique<terminate_impl>();
    EXPECT_EQ(host_system().writes_to_standard_error, each.off) << &each - cases;
  }
}

void throw_what_is_given(const char* message, const char* file, int line, const char* function) {
  const bool as_given = file == nullptr && function == nullptr && line == 0;
  terminate_log(as_given ? message : "not null", thread_context(false));
  throw 1;
}

struct unwinding {
  /// The compiler is not to see that this never returns: it would leave the handler away, and then nothing is unwound.
  AS_WRITTEN ~unwinding() { terminate("real", "f", 2, "unwinding"); }
};

TEST_F(Termination, GoesOnWhateverItsObserverThrowsAndIsRealWhileAnExceptionIsInFlight) {
  {
    const termination_observer observer(throw_what_is_given);
    {
      const termination_observer inner(nullptr);
    }
    EXPECT_EQ(run_to_final_stage([] { terminate("as given", nullptr, 0, nullptr); }).get(),
              "as given\n<unknown> <unknown> 0");
    EXPECT_EQ(without_thread_id(terminate_log()), report_of({false, "as given", nullptr, 0, nullptr}));
    EXPECT_FALSE(terminate_called());
  }
  const auto while_unwinding = [] {
    const terminate_handler handler;
    try {
      const unwinding object;
      throw 1;
    } catch (...) {
    }
  };
  EXPECT_EQ(run_to_final_stage(while_unwinding).get(), "real\nunwinding f 2");
  EXPECT_EQ(without_thread_id(terminate_log()), report_of({true, "real", "f", 2, "unwinding"}));
  EXPECT_TRUE(terminate_called());
  EXPECT_EQ(run_to_final_stage([] { terminate("real", "", 3, ""); }).get(), "real\n<unknown> <unknown> 3");
}

TEST_F(Termination, OfSeveralThreadsAtOnceLeavesAWholeReportOfEach) {
  const termination_observer wiping(default_termination_observer);
  host_system().describe = [](const void*, frame_description&) { std::this_thread::yield(); };
  std::vector<std::future<std::string>> ends;
  for (char16_t digit = u'0'; digit < u'0' + thread_count; ++digit) {
    ends.push_back(run_to_final_stage([digit] { terminate(std::u16string{u'n', digit}, "f", digit - u'0', "g"); }));
  }
  for (auto& end : ends) {
    EXPECT_EQ(end.get().front(), 'n');
  }
  std::string log = without_thread_id(terminate_log());
  for (int number = 0; number < thread_count; ++number) {
    const std::string report = report_of({true, ("n" + std::to_string(number)).c_str(), "f", number, "g"});
    ASSERT_NE(log.find(report), std::string::npos) << log;
    log.erase(log.find(report), report.size());
  }
  EXPECT_EQ(log, "");
}

TEST_F(Termination, LogGrowsReportByReportUntilItIsFullAndIsWipedWithAnObserver) {
  const auto fault = static_cast<const _EXCEPTION_POINTERS*>(test_support::make_fault(0x63));
  const std::string first = report_of({false, "", nullptr, 0, nullptr});
  const std::string second = report_of({false, "again", nullptr, 0, nullptr}, fault);
  EXPECT_STREQ(terminate_log(), "");
  // Not with one that comes in the middle of a report.
  host_system().describe = [](const void*, frame_description&) { const termination_observer other(nullptr); };
  const char* const log = terminate_log(nullptr, thread_context(false));
  host_system().describe = nullptr;
  EXPECT_EQ(without_thread_id(log), first);
  EXPECT_EQ(terminate_log("again", fault), log);
  EXPECT_EQ(without_thread_id(log), first + second);
  {
    const termination_observer observer(nullptr);
    EXPECT_STREQ(log, "");
    EXPECT_EQ(terminate_log("again", fault), log);
    EXPECT_EQ(without_thread_id(log), second);
  }
  EXPECT_STREQ(log, "");
  const std::string large(30000, 'x');
  for (int report = 0; report < 3; ++report) {
    terminate_log(large.c_str(), thread_context(false));
  }
  EXPECT_EQ(std::strlen(log), 65536u);
  const std::string full = log;
  EXPECT_EQ(terminate_log("no more", thread_context()), log);
  EXPECT_EQ(log, full);
  const auto cut = run_to_final_stage([] { terminate(std::string(65537, 'x'), "f", 1, "g"); }).get();
  EXPECT_EQ(cut, std::string(65536, 'x') + "\ng f 1");
}

}  // namespace

// Processes that end badly, as seen from outside: one report with the right heading and the place of the fault, a
// failure status, and no hanging.

#include "run_child.hpp"
#include "support.hpp"

#include <gtest/gtest.h>

#include <optional>
#include <regex>
#include <set>
#include <string>

namespace {

using test_support::run_child;

constexpr std::uint32_t crash_status = 99;  // Of diag_child's handlers.
constexpr std::uint32_t abort_status = 3;

std::string without_carriage_returns(const std::string& text) {
  return std::regex_replace(text, std::regex("\r"), "");
}

int count_of(const std::string& text, const std::string& part) {
  int count = 0;
  for (auto found = text.find(part); found != std::string::npos; found = text.find(part, found + 1)) {
    ++count;
  }
  return count;
}

const std::string fault = "\nAbnormal termination:\nfault\n\n";

/// What diag_child's handler for std::terminate reports; `exception` is the mangled name of the one that nobody caught.
std::string terminated_by(const std::string& exception) {
  return "\nAssertion in terminate handler at diag_child.cpp line 1:\n" + exception + "\n\n";
}

TEST(Crash, EveryEndLeavesOneReportThatNamesThePlaceAndAFailureStatus) {
  const struct {
    const char* mode;
    std::uint32_t status;
    std::string heading, part;
  } cases[] = {
      {"write", crash_status, fault, " fault_here+0000"},
      {"overflow", crash_status, fault, " recurse+0000"},
      {"null function", crash_status, fault, "[  0] 0x0000000000000000 "},
      {"std::terminate", abort_status, terminated_by("St13runtime_error"), " on_terminate+0000"},
      {"mock process throws", abort_status, terminated_by("St13runtime_error"), " on_terminate+0000"},
      {"mock process is left", abort_status, terminated_by("no exception"), " on_terminate+0000"},
      {"observer in report", abort_status, "\nAssertion in g at diag_child.cpp line 5:\nsecond\n\n", "::append+0000"},
      {"suspended in report", abort_status, "\nAssertion in f at diag_child.cpp line 4:\nmessage\n\n",
       "second\n\nFunction: g, file diag_child.cpp, line 5"},
      {"fatal record", abort_status, "\nAssertion in int solve() at solver.cpp line 17:\ncount=42",
       "::report_check+0000"},
  };
  for (const auto& each : cases) {
    SCOPED_TRACE(each.mode);
    const auto child = run_child("diag_child", each.mode);
    const std::string err = without_carriage_returns(child.err);
    EXPECT_EQ(child.exit_code, each.status);
    EXPECT_EQ(count_of(err, each.heading), 1) << err;
    EXPECT_EQ(count_of(err, "\nCurrent Thread: '"), 1) << err;
    EXPECT_NE(err.find(each.part), std::string::npos) << err;
  }
}

std::string place(const char* line) {
  return ", file src/fl/diag/terminate, line " + std::string(line) + "\n";
}

TEST(Terminate, ShowsMessageFunctionAndPlaceAtTheEnd) {
  const std::string too_long = "len >= 0, file src/fl/diag/windows/terminate, line 41\n";
  const struct {
    const char* mode;
    std::string end;  ///< What the run-time's message ends in.
    std::string part;
  } cases[] = {
      {"assert", "\n\nFunction: int solve(), file solve.cpp, line 17\n", "failed: it broke\n"},
      {"longest", "\n\nFunction: g, file " + std::string(260, 'f') + ", line 1\n", "failed: " + std::string(4000, 'x')},
      {"text too long", too_long, "\n" + std::string(4083, 'x') + "\n"},
      {"path too long", too_long, ""},
      {"cut", too_long, "65536\n"},
      // A report that its own thread interrupts, or that has stopped where the fault was that another thread reports.
      {"report faults", place("266"), "exception during abnormal termination\n"},
      {"report overflows", place("266"), "\nAssertion in f at diag_child.cpp line 4:\nmessage\n"},
  };
  for (const auto& each : cases) {
    SCOPED_TRACE(each.mode);
    const auto child = run_child("diag_child", each.mode);
    const std::string err = without_carriage_returns(child.err);
    EXPECT_EQ(child.exit_code, abort_status);
    EXPECT_NE(err.find(each.end), std::string::npos) << err;
    EXPECT_NE(err.find(each.part), std::string::npos) << err;
  }
}

TEST(Crash, AStackGoesOnInNumbersWhereNamesCannotBeHadAndBeginsWithAnObserverThatAsksForIt) {
  const auto numbers = run_child("diag_child", "print overflows");
  EXPECT_EQ(numbers.exit_code, crash_status);
  const std::regex all(R"(\(from fault\):\nNo names from here on: [^\n]+\n(\[ *\d+\] 0x[0-9a-f]{16}\n){128}\n)");
  EXPECT_TRUE(std::regex_search(numbers.err, all)) << numbers.err;
  const auto names = run_child("diag_child", "observer reports");
  const std::regex first(R"(\(captured\):\n\[  0\] [^\n]+ report_and_print_length\+)");
  EXPECT_TRUE(std::regex_search(names.err, first)) << names.err;
}

TEST(Terminate, EightThreadsWithoutMemoryLeaveEightWholeReportsHoweverSlowTheFirstIs) {
  const auto child = run_child("diag_child", "threads");
  EXPECT_EQ(child.exit_code, crash_status);
  EXPECT_EQ(child.err.rfind("nothing allocated\n\nAssertion", 0), 0u)
      << child.err;  // Imports of all such functions fail.
  const std::regex whole(
      R"(\nAssertion in f at diag_child.cpp line (\d):\nn\\u00F3 \1\n\nCurrent Thread: 'thread \1' id \d+\n\n)"
      R"(Register State \(captured\):\n[^\[]+CS = [^\[]+\nStack Trace \(captured\):\n(\[[^\n]+\n)+\n)");
  std::set<std::string> numbers;
  for (std::sregex_iterator report(child.err.begin(), child.err.end(), whole), none; report != none; ++report) {
    numbers.insert(report->str(1));
  }
  EXPECT_EQ(numbers.size(), 8u) << child.err;
}

TEST(Terminate, TheEnvironmentSwitchesTheDialogOff) {
  using value = std::optional<std::string_view>;
  const struct {
    value disable, mode;
    const char* dialog;
  } cases[] = {
      {std::nullopt, std::nullopt, "on"},
      {std::nullopt, "default", "on"},
      {std::nullopt, "continue", "on"},
      {std::nullopt, "Default", "off"},
      {"0", "batch", "on"},
      {"1", std::nullopt, "off"},
      {"00", "default", "off"},
  };
  for (const auto& each : cases) {
    const test_support::scoped_variable disable("QX_DISABLE_TERMINATE_DIALOG", each.disable);
    const test_support::scoped_variable mode("QX_CRASH_MODE", each.mode);
    EXPECT_EQ(run_child("diag_child", "dialog").err, each.dialog)
        << each.disable.value_or("(unset)") << " " << each.mode.value_or("(unset)");
  }
}

TEST(TerminateHandler, TwoOnOneThreadEndTheProcess) {
  EXPECT_EQ(run_child("diag_child", "nested handlers").exit_code, abort_status);
}

TEST(FastExit, RunsNothing) {
  const auto child = run_child("diag_child", "fast exit");
  EXPECT_EQ(child.exit_code, 3u);
  EXPECT_EQ(child.err, "");
}

}  // namespace

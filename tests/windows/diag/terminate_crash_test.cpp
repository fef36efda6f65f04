// Processes that end badly, as seen from outside: one report with the right heading and the place of the fault, a
// failure status, and no hanging. What each report says in full is a matter of report_test.

#include "run_child.hpp"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <future>
#include <regex>
#include <string>
#include <vector>

namespace {

using test_support::child_result;
using test_support::run_child;
using testing::HasSubstr;

child_result run_mode(const std::string& mode) {
  child_result child = run_child("diag_child", mode);
  std::erase(child.err, '\r');
  return child;
}

constexpr std::uint32_t crash_status = 99;  // Of diag_child's handlers.
constexpr std::uint32_t abort_status = 3;
const std::string fault = "\nAbnormal termination:\nfault\n\n";
const std::string too_long = "len >= 0, file src/fl/diag/windows/terminate, line 41\n";

/// What diag_child's handler for std::terminate reports; `exception` is the mangled name of the one that nobody caught.
std::string terminated_by(const std::string& exception) {
  return "\nAssertion in terminate handler at diag_child.cpp line 1:\n" + exception + "\n\n";
}

TEST(Crash, EveryEndLeavesOneReportThatNamesThePlaceAndAFailureStatus) {
  const struct {
    const char* mode;
    std::uint32_t status;
    std::vector<std::string> parts;
  } cases[] = {
      {"write", crash_status, {fault, " fault_here+0000"}},
      {"overflow", crash_status, {fault, " recurse+0000"}},
      {"null function", crash_status, {fault, "[  0] 0x0000000000000000 "}},
      {"mock process throws", abort_status, {terminated_by("St13runtime_error"), " on_terminate+0000"}},
      {"mock process is left", abort_status, {terminated_by("no exception"), " on_terminate+0000"}},
      {"assert", abort_status, {"failed: it broke\n\nFunction: int solve(), file solve.cpp, line 17\n"}},
      {"longest",
       abort_status,
       {"failed: " + std::string(4000, 'x'), "\n\nFunction: g, file " + std::string(260, 'f') + ", line 1\n"}},
      {"text too long", abort_status, {"\n" + std::string(4083, 'x') + "\n", too_long}},
      {"path too long", abort_status, {too_long}},
      // A report that has stopped, for good or where the fault was that another thread reports.
      {"suspended in report",
       abort_status,
       {"\nAssertion in f at diag_child.cpp line 4:\nmessage\n\n",
        "second\n\nFunction: g, file diag_child.cpp, line 5"}},
      {"report overflows",
       abort_status,
       {"\nAssertion in f at diag_child.cpp line 4:\nmessage\n", ", file src/fl/diag/terminate, line 266\n"}},
      {"fatal record",
       abort_status,
       {"\nAssertion in int solve() at solver.cpp line 17:\ncount=42", "::report_check+0000"}},
  };
  std::vector<std::future<child_result>> children;
  for (const auto& each : cases) {
    children.push_back(std::async(std::launch::async, run_mode, each.mode));
  }
  for (std::size_t at = 0; at != std::size(cases); ++at) {
    SCOPED_TRACE(cases[at].mode);
    const child_result child = children[at].get();
    EXPECT_EQ(child.exit_code, cases[at].status);
    const auto thread = child.err.find("\nCurrent Thread: '");
    EXPECT_NE(thread, std::string::npos) << child.err;
    EXPECT_EQ(thread, child.err.rfind("\nCurrent Thread: '")) << child.err;
    for (const std::string& part : cases[at].parts) {
      EXPECT_THAT(child.err, HasSubstr(part));
    }
  }
}

TEST(Crash, AStackGoesOnInNumbersWhereNamesCannotBeHadAndBeginsWithAnObserverThatAsksForIt) {
  const auto numbers = run_mode("print overflows");
  EXPECT_EQ(numbers.exit_code, crash_status);
  const std::regex all(R"(\(from fault\):\nNo names from here on: [^\n]+\n(\[ *\d+\] 0x[0-9a-f]{16}\n){128}\n)");
  EXPECT_TRUE(std::regex_search(numbers.err, all)) << numbers.err;
  const auto names = run_mode("observer reports");
  const std::regex first(R"(\(captured\):\n\[  0\] [^\n]+ observe\+)");
  EXPECT_TRUE(std::regex_search(names.err, first)) << names.err;
}

TEST(Terminate, ThreadsWithoutMemoryLeaveAWholeReportEachHoweverSlowTheFirstIs) {
  const auto child = run_mode("threads");
  EXPECT_EQ(child.exit_code, crash_status);
  // Imports of all functions that allocate fail.
  EXPECT_THAT(child.err, testing::StartsWith("nothing allocated\n\nAssertion"));
  for (const char digit : {'0', '1', '2', '3'}) {
    EXPECT_THAT(child.err, HasSubstr(std::string("\nAssertion in f at diag_child.cpp line ") + digit + ":\nn\\u00F3 " +
                                     digit + "\n\nCurrent Thread: 'thread " + digit + "' id "));
  }
  const std::regex stack(
      R"(Register State \(captured\):\n[^\[]+CS = [^\[]+\nStack Trace \(captured\):\n(\[[^\n]+\n)+\n)");
  EXPECT_EQ(std::distance(std::sregex_iterator(child.err.begin(), child.err.end(), stack), {}), 4) << child.err;
}

TEST(FastExit, RunsNothing) {
  const auto child = run_mode("fast exit");
  EXPECT_EQ(child.exit_code, 3u);
  EXPECT_EQ(child.err, "");
}

}  // namespace

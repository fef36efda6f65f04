// Loggers, their control, scope traces and checks, up to where records leave for the system.

#include <foundation_log/control.hpp>
#include <foundation_log/logger.hpp>
#include <foundation_log/scope_trace.hpp>

#include "every_test.hpp"
#include "host/log_records.hpp"
#include "record_format.hpp"

#include <locale>

namespace {

using namespace foundation::log;
using logger_type = basic_diagnostic_logger<char>;

/// The records since the last call, without time and thread: "[channel] severity: text".
std::string new_records() {
  std::string lines;
  for (const auto& [channel, severity, text, depth] : test_support::drain_log_records()) {
    const std::string line = format_record({{}, 0, 0, channel, severity, depth, text});
    lines += line.substr(line.find('['));
  }
  return lines;
}

struct throwing {
  friend std::ostream& operator<<(std::ostream& out, const throwing&) {
    out << "half";
    throw std::runtime_error("no more");
  }
};

TEST(Logger, HasTheLevelThatTheEnvironmentNamesFromItsFirstUseOnUnlessACallGaveItOneWithoutMemoryForThat) {
  test_support::log_environment = "early::*=note;oops";
  test_support::log_lacks_memory = true;
  EXPECT_THROW(set_level("early::*", severity::error), std::bad_alloc);
  logger_type given("early::given");
  const logger_type left("early::left");
  given.level(severity::error);
  enable_logging(true);
  test_support::log_lacks_memory = false;
  EXPECT_EQ(left.level(), severity::note);
  EXPECT_EQ(given.level(), severity::error);
  const logger_type early("early::a");
  EXPECT_TRUE(early.enabled(severity::note));
  EXPECT_EQ(logger_type("early::b").level(), severity::note);
  EXPECT_THAT(new_records(), testing::StartsWith("[standard error] 0: QX_LOG: \"oops\" is left out"));
}

struct own_numbers : std::numpunct<char> {
  char do_decimal_point() const override { return ','; }
  std::string do_grouping() const override { return "\3"; }
};

TEST(Logger, PrintsOnlyWhatItsMaskNamesAsInEveryLocaleAndSaysWhatCouldNotBePrinted) {
  const std::locale former = std::locale::global(std::locale(std::locale::classic(), new own_numbers));
  logger_type logger("mask");
  EXPECT_EQ(logger.level(), default_level);
  logger.log(severity::fatal, "not to be seen ", throwing());
  logger.level(severity::note | severity::error | severity::fatal << check_shift);
  for (unsigned flag = 1; flag <= severity_mask; flag <<= 1) {
    EXPECT_EQ(logger.enabled(flag), flag == severity::note || flag == severity::error) << flag;
  }
  logger.log(severity::note, "one", ' ', 2000, "\nthree ", 0.5, " ", static_cast<const char*>(nullptr));
  logger.log(severity::note, "a ", throwing(), " b");
  EXPECT_EQ(new_records(),
            "[mask] note: one 2000\\nthree 0.5 [unprintable]\n"
            "[mask] note: a half[the record ends here: printing threw std::runtime_error: no more]\n");
  std::locale::global(former);
}

TEST(LogControl, APatternSetsTheLoggersOfNowAndOfLater) {
  logger_type which("control::process::which");
  const logger_type other("control::other");
  EXPECT_EQ(set_level("control::*", severity::error), 2u);
  EXPECT_EQ(set_level("control::process::*", severity::note), 1u);
  which.level(severity::result);
  const logger_type late("control::process::late");
  EXPECT_EQ(logger_type("control::process::brief").level(), severity::note);
  using testing::FieldsAre;
  EXPECT_THAT(channels("control::*"), testing::ElementsAre(FieldsAre("control::process::which", severity::result),
                                                           FieldsAre("control::other", severity::error),
                                                           FieldsAre("control::process::late", severity::note)));
  EXPECT_EQ(set_level("control::*", 0), 3u);  // Given again, and so now the last.
  EXPECT_EQ(logger_type("control::process::last").level(), 0u);
  const std::vector<char> unterminated(other.channel().begin(), other.channel().end());
  EXPECT_EQ(set_level({unterminated.data(), unterminated.size()}, 0), 1u);  // The sanitizer sees whoever reads on.
}

struct traced_at_unwinding {
  logger_type& logger;
  ~traced_at_unwinding() { const scope_trace trace(logger, "cleanup()"); }
};

TEST(ScopeTrace, ShowsEntryResultAndExitWithTheRecordsBetweenThemIndentedAndWhatIsLeftByAnException) {
  logger_type logger("traced");
  logger.level(severity_mask);
  try {
    int result = 0;
    scope_trace outer(logger, "outer()");
    outer.result("result", result);
    const traced_at_unwinding cleanup{logger};
    const scope_trace inner(logger, "inner()");
    logger.log(severity::arguments, " this=", 1);
    std::thread([&] { logger.log(severity::note, "elsewhere"); }).join();
    result = 7;
    throw std::runtime_error("out");
  } catch (const std::runtime_error&) {
    const scope_trace trace(logger, "handler()");
  }
  EXPECT_EQ(new_records(),
            "[traced] scope_entry: outer()\n"
            "[traced] scope_entry:   inner()\n"
            "[traced] arguments:      this=1\n"
            "[traced] note: elsewhere\n"
            "[traced] scope_exit:   inner() [throw]\n"
            "[traced] scope_entry:   cleanup()\n"
            "[traced] scope_exit:   cleanup()\n"
            "[traced] result:   result=7\n"
            "[traced] scope_exit: outer() [throw]\n"
            "[traced] scope_entry: handler()\n"
            "[traced] scope_exit: handler()\n");
  logger.level(severity::result | severity::scope_exit);
  scope_trace(logger, "not traced").result("result", "alone");
  EXPECT_EQ(new_records(), "[traced] result: result=alone\n");
}

/// The text with which a failing check ends, or "survived".
std::string end_of_check(const logger_type& logger) {
  const detail::termination_handler handler(
      [](const std::ostringstream& text, const char*, int, const char*) { throw text.str(); });
  try {
    logger.check_failed("unit.cpp", 7, "void f()", "count=", 42);
  } catch (const std::string& text) {
    return text;
  }
  return "survived";
}

TEST(LogCheck, IsReportedAtTheSeverityOfChecksAndEndsTheProcessOnlyIfThatIsFatal) {
  logger_type logger("check");
  const std::string record = "count=42\\n( Event generated in void f() at line 7 from unit.cpp )\n";
  logger.level(severity_mask);
  EXPECT_EQ(end_of_check(logger), "survived");
  logger.level(severity::error << check_shift);
  EXPECT_EQ(end_of_check(logger), "survived");
  logger.check_failed(nullptr, 7, nullptr);
  logger.level(severity::fatal << check_shift);
  EXPECT_EQ(end_of_check(logger), "count=42");
  EXPECT_EQ(new_records(), "[check] error: " + record +
                               "[check] error: \\n( Event generated in <unknown> at line 7 from <unknown> )\n" +
                               "[check] fatal: " + record);
  using turn = void (*)(bool);
  for (const turn switch_to : {turn(enable_logging), turn([](bool on) { test_support::log_takes_records = on; })}) {
    logger.level(severity_mask | severity::fatal << check_shift);
    switch_to(false);
    EXPECT_FALSE(logger.enabled(severity::note));
    EXPECT_EQ(end_of_check(logger), "Expression information is not available.");
    switch_to(true);
  }
}

}  // namespace

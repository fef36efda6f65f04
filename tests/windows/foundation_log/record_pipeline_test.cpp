// Records that really arrive in the log file, also without memory. What the environment does from the start of a
// process is seen from outside, in foundation_log_child.

#include <foundation_log/logger.hpp>
#include <foundation_log/scope_trace.hpp>

#include "every_test.hpp"
#include "import_patch.hpp"
#include "support.hpp"

#include <boost/log/core.hpp>
#include <boost/log/sources/logger.hpp>
#include <boost/log/sources/record_ostream.hpp>

#include <windows.h>

#include <regex>

namespace {

using namespace foundation::log;
using test_support::injected;
using test_support::run_child;
using test_support::scoped_variable;
using logger_type = basic_diagnostic_logger<char>;

// The log of this process, before the first logger is used.
const test_support::temp_dir folder("foundation-log");
const std::string own_log = (test_support::write_file(folder.file("own.log"), ""), folder.file("own.log"));
const scoped_variable own_file("QX_LOG_FILE", own_log), own_level("QX_LOG", std::nullopt);

std::string without_heads(const std::string& log) {
  static const std::regex head(R"((^|\n)\d{4}-\d\d-\d\d \d\d:\d\d:\d\d\.\d{6} \d+:\d+ (?=\[))");
  return std::regex_replace(log, head, "$1");
}

/// The records written since the last call, without time and thread: "[channel] severity: text".
std::string new_records() {
  static std::size_t known = 0;
  const std::string content = test_support::read_file(own_log);
  return without_heads(content.substr(std::exchange(known, content.size())));
}

TEST(RecordPipeline, WritesRecordsWithTheIndentOfTheirThreadAndNoneWhileTheCoreIsOff) {
  logger_type logger("real");
  logger.level(severity::scope_entry | severity::note);
  const scope_trace trace(logger, "outer()");
  logger.log(severity::note, "in");
  std::thread([&] { logger.log(severity::note, "elsewhere"); }).join();
  boost::log::core::get()->set_logging_enabled(false);
  EXPECT_FALSE(logger.enabled(severity::note));
  boost::log::core::get()->set_logging_enabled(true);
  boost::log::sources::logger of_somebody_else;
  BOOST_LOG(of_somebody_else) << "not for this file";
  EXPECT_EQ(new_records(), "[real] scope_entry: outer()\n[real] note:   in\n[real] note: elsewhere\n");
}

// Whoever holds the lock may also move the file away.
TEST(RecordPipeline, WaitsASecondForAProcessThatStandsStillInItsWriteAndThenForNoneUntilTheFileIsFree) {
  logger_type logger("locked");
  logger.level(severity::note);
  logger.log(severity::note, "opens the file");
  const HANDLE other = CreateFileW(test_support::widen(own_log).c_str(), GENERIC_READ | DELETE,
                                   FILE_SHARE_READ | FILE_SHARE_WRITE, nullptr, OPEN_EXISTING, 0, nullptr);
  ASSERT_NE(other, INVALID_HANDLE_VALUE);
  OVERLAPPED place{};
  place.OffsetHigh = 0x40000000;
  injected<decltype(&GetTickCount64)> clock("libqxfoundation_log.dll", "GetTickCount64");
  std::size_t look = 0;
  clock.handle_with(
      [&](auto) -> ULONGLONG { return std::array{5000U, 6000U, 6001U, 9000U}[std::min<std::size_t>(look++, 3)]; });
  const auto looks = [&](bool is_locked) {
    EXPECT_TRUE(!is_locked || LockFileEx(other, LOCKFILE_EXCLUSIVE_LOCK | LOCKFILE_FAIL_IMMEDIATELY, 0, 1, 0, &place));
    look = 0;
    logger.log(severity::note, "x");
    EXPECT_TRUE(!is_locked || UnlockFileEx(other, 0, 1, 0, &place));
    return look;
  };
  EXPECT_EQ(looks(true), 3u);
  EXPECT_EQ(looks(true), 1u);
  EXPECT_EQ(looks(false), 1u);
  EXPECT_EQ(looks(true), 3u);
  CloseHandle(other);
  EXPECT_EQ(new_records(),
            "[locked] note: opens the file\n[locked] note: x\n[locked] note: x\n[locked] note: x\n[locked] note: x\n");
}

// Memory ends, or only one allocation fails: nothing but the handler's exception leaves a check, and no record is cut.
TEST(LogCheck, EndsTheProcessWhicheverOfItsAllocationsFails) {
  logger_type logger("starved");
  logger.level(severity::fatal << check_shift);
  const detail::termination_handler handler(
      [](const std::ostringstream& text, const char*, int, const char*) { throw text.view().size(); });
  std::atomic<DWORD> starved = 0;
  std::atomic<int> left = 0, refused = 0;
  bool once = false;
  const auto ration = [&](auto original, std::size_t size) -> void* {
    const bool is_short = GetCurrentThreadId() == starved && --left < 0 && (!once || left == -1);
    return is_short ? (++refused, nullptr) : original(size);
  };
  injected<void* (*)(std::size_t)> memory("libstdc++-6.dll", "malloc");
  injected<void* (*)(std::size_t)> memory_of_threads("libgcc_s_seh-1.dll", "malloc");
  memory.handle_with(ration);
  memory_of_threads.handle_with(ration);
  const std::string part(500, 'x');
  std::set<std::size_t> ends;
  const auto refuses_some = [&](int given) {
    refused = 0;
    std::thread([&] {
      EXPECT_THROW(throw 0, int);  // The first one of a thread takes memory that the run-time cannot do without.
      left = given;
      starved = GetCurrentThreadId();
      try {
        logger.check_failed("unit.cpp", 7, "void f()", part, 42);
      } catch (std::size_t size) {
        starved = 0;
        ends.insert(size);
      }
    }).join();
    return refused != 0;
  };
  for (const bool only_one : {false, true}) {
    once = only_one;
    for (int given = 0; refuses_some(given); ++given) {
    }
  }
  EXPECT_TRUE(ends.count(std::string_view("Expression information is not available.").size()) && ends.count(502));
  std::istringstream records(new_records());
  for (std::string record; std::getline(records, record);) {
    EXPECT_TRUE(record.ends_with("42\\n( Event generated in void f() at line 7 from unit.cpp )")) << record;
  }
}

TEST(LogEnvironment, DecidesFromTheFirstUseWhatGoesToStandardErrorAndABadPairIsSaidOnce) {
  const scoped_variable file("QX_LOG_FILE", std::nullopt);
  const struct {
    const char *level, *mode, *written;
  } cases[] = {
      {"", "records", ""},
      {"child::a;child::b=note;*=frob", "records", R"((QX_LOG: .*\n){2}(\[child::b\] note: from b\n){4})"},
      {"", "late",
       R"(QX_LOG: "oops".*\nQX_LOG_FILE: .* cannot be opened: [A-Z].* \(error 3\).*\n\[child::a\] note: read late\n)"},
      {"*=all", "exit", R"(\[child::a\] note: last words\n)"},
  };
  for (const auto& each : cases) {
    const scoped_variable level("QX_LOG", each.level);
    const auto child = run_child("foundation_log_child", each.mode);
    EXPECT_EQ(child.exit_code, 0u) << each.mode;
    EXPECT_TRUE(std::regex_match(without_heads(child.err), std::regex(each.written))) << each.mode << child.err;
  }
}

TEST(LogFile, IsAppendedToAndRecordsOfSeveralThreadsAndProcessesStayWhole) {
  const std::string path = folder.file("Größe-\xE6\x97\xA5.log");
  test_support::write_file(path, "was there before\n");
  const scoped_variable level("QX_LOG", "*=note"), file("QX_LOG_FILE", path);
  std::thread other([] { EXPECT_EQ(run_child("foundation_log_child", "flood").exit_code, 0u); });
  EXPECT_EQ(run_child("foundation_log_child", "flood").exit_code, 0u);
  other.join();
  std::istringstream log(test_support::read_file(path));
  std::string line;
  std::getline(log, line);
  EXPECT_EQ(line, "was there before");
  static const std::regex whole(R"(\S+ \S+\.(\d+) (\d+):\d+ \[child::a\] note: <(\d) (\d+) (a{300}|b{300}|c{300})>)");
  std::set<std::string> fractions;  // Of a second.
  std::map<std::string, int> next;  // By process and thread: records of a thread are in order.
  while (std::getline(log, line)) {
    std::smatch match;
    ASSERT_TRUE(std::regex_match(line, match, whole)) << line;
    EXPECT_EQ(std::stoi(match[4]), next[match[2].str() + ":" + match[3].str()]++) << line;
    fractions.insert(match[1]);
  }
  EXPECT_EQ(next.size(), 6u);
  EXPECT_GT(fractions.size(), 6u);
  EXPECT_THAT(next, testing::Each(testing::Pair(testing::_, 150)));
}

}  // namespace

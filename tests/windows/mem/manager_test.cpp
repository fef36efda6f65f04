// The memory manager as a process has it: environment, heap, new handler and plug-in. A process makes one manager, so
// nearly all of this happens in children. What needs no system is tested natively.

#include "run_child.hpp"
#include "support.hpp"

#include <gtest/gtest.h>

#include <windows.h>

#include <optional>
#include <regex>
#include <string>
#include <string_view>

namespace {

using test_support::run_child;
using test_support::scoped_variable;
using value = std::optional<std::string_view>;

std::string without_carriage_returns(const std::string& text) {
  return std::regex_replace(text, std::regex("\r"), "");
}

/// Standard output of a child that has these options.
std::string output(const std::string& mode, value options) {
  const scoped_variable variable("TESSEL_MEM_MGR", options);
  const auto child = run_child("mem_child", mode);
  EXPECT_EQ(child.exit_code, 0u) << child.err;
  return without_carriage_returns(child.out);
}

std::string log_line(const std::string& text) {
  return "MEMORY MANAGEMENT: " + text + "\n";
}

TEST(Manager, MovesItsOptionsToWhereNoChildTakesThemForItsOwn) {
  EXPECT_EQ(output("environment", "off"), "off off\n- -\n- -\noff off\n000010\n");
  const scoped_variable stale("TESSEL_MEM_MGR_VALUE", "stale");
  EXPECT_EQ(output("environment", std::nullopt), "- -\nstale stale\n- -\n- -\n000010\n");
}

TEST(Manager, IsMadeAgainAfterAFailureFromTheOptionsThatWereRead) {
  const scoped_variable alignment("QX_ALIGNED_HEAP_ALIGNMENT", "abc");
  const scoped_variable plugin("MEM_CHILD_PLUGIN", "plugin_agreeing");
  const std::string failures = "bad_lexical_cast\nbad_lexical_cast\n";
  EXPECT_EQ(output("again", "release,observation"),
            failures + log_line("using options 'release,observation'") + log_line("observation is ENABLED") +
                log_line("aligned_heap alignment is 64 bytes") + "000110\nstd::bad_alloc 1\n");
}

TEST(Manager, TunesTheHeapOfTheRunTime) {
  const std::string query = "query 0 4\n", select = "set 0 2 4\n", end_if_corrupt = "set 1 0 0\n";
  EXPECT_EQ(output("tune 0", "release"), query + select);
  EXPECT_EQ(output("tune 0", "integcheck"), query + select + end_if_corrupt);
  EXPECT_EQ(output("tune 2", "integcheck"), query + end_if_corrupt);
  EXPECT_EQ(output("tune unknown", "release"), query);
}

TEST(Manager, HasItsWholeLogOrIsNotMadeWhenMemoryEnds) {
  const scoped_variable alignment("QX_ALIGNED_HEAP_ALIGNMENT", "64");
  EXPECT_EQ(output("little memory", "off,turbo,debug"),
            log_line("using options 'off,turbo,debug'") + log_line("unrecognized option 'turbo'") +
                log_line("option 'debug' must be listed first") + log_line("pooling is DISABLED") +
                log_line("aligned_heap alignment is 64 bytes") + "000000\n");
}

TEST(Manager, ItsArenaOutlivesTheThreadThatTheEndOfTheProcessStoppedInside) {
  const scoped_variable plugin("MEM_CHILD_PLUGIN", "plugin_agreeing");
  const scoped_variable arena("QX_ALIGNED_HEAP_ALIGNMENT", "dlmalloc");
  EXPECT_EQ(output("end inside the arena", "observation"), "freed\n");
}

TEST(NewHandler, EndsTheProcessForAThreadThatWantsIt) {
  const scoped_variable variable("TESSEL_MEM_MGR", std::nullopt);
  const auto child = run_child("mem_child", "terminate per thread");
  EXPECT_EQ(without_carriage_returns(child.out), "0010std::bad_alloc1std::bad_alloc\n");
  EXPECT_EQ(child.exit_code, 3u);
  const std::string err = without_carriage_returns(child.err);
  EXPECT_NE(err.find("Assertion failed: Out of memory"), std::string::npos) << err;
  EXPECT_NE(err.find("1 refused\n"), std::string::npos) << err;
  EXPECT_NE(err.find("Out of memory\n\nCurrent Thread: "), std::string::npos) << err;
}

TEST(NewHandler, ALostOneEndsTheProcessIfTheLogSaysSo) {
  const scoped_variable log("QX_LOG", "foundation::core::mem::*=:fatal");
  const auto child = run_child("mem_child", "reinit");
  EXPECT_EQ(child.exit_code, 3u);
  EXPECT_EQ(child.out, "");
  EXPECT_TRUE(std::regex_search(
      child.err,
      std::regex(R"(\nAssertion in [^\n]+::reinit_new_handler_impl\(\) const at src/fl/mem/mem_manager line )"
                 R"(\d+:\r?\nNEW HANDLER CLOBBERED: expected=0x\w+  actual=0x\w+\r?\n\r?\nCurrent)")))
      << child.err;
}

TEST(Plugin, WhatIsMissingOrRefusedStandsInTheLogOfObservation) {
  const scoped_variable log("QX_LOG", "foundation::core::mem::manager::mobservation=note");
  const scoped_variable options("TESSEL_MEM_MGR", "observation");
  const struct {
    const char* folder;
    std::string first, result;
    const char* state;
  } cases[] = {
      {"none", "Failed to load Plugin 'libqxtools_mobservation.dll'", "0", "NOT AVAILABLE"},
      {"plugin_wrong", "Failed to find symbol 'mobserveradminapiinit'", "0", "NOT AVAILABLE"},
      {"plugin_refusing", "mobserveradminapiinit returned 0", "0", "NOT AVAILABLE"},
      {"plugin_agreeing", "mobserveradminapiinit returned -3", "-3", "ENABLED"},
  };
  for (const auto& each : cases) {
    const scoped_variable plugin("MEM_CHILD_PLUGIN", each.folder);
    const auto child = run_child("mem_child", "show");
    const std::string record = R"([^\n]+::mobservation\] note: )";
    EXPECT_TRUE(std::regex_match(child.err, std::regex(record + each.first + "\r?\n" + record +
                                                       "load_and_run_plugin returns " + each.result + "\r?\n")))
        << child.err;
    EXPECT_EQ(without_carriage_returns(child.out).find(log_line(std::string("observation is ") + each.state)),
              log_line("using options 'observation'").size());
  }
}

TEST(Plugin, CountsTheAllocationsOfItsProcess) {
  const scoped_variable target("QX_MOBSERVATION_REPORT", "stderr");
  const scoped_variable options("TESSEL_MEM_MGR", "observation");
  const std::string text = run_child("mem_child", "allocate").err;
  EXPECT_TRUE(std::regex_search(text, std::regex("^C run-time allocations of process \\d+, observed by \\d+ redirected "
                                                 "imports\n +block up to +allocations +bytes +frees +live")))
      << text;
  // Five blocks, one of them resized, and three that came and went.
  EXPECT_NE(
      text.find("\n         4194304               9        28000000               5               4        13000000"
                "        22000000\n"),
      std::string::npos)
      << text;
  EXPECT_TRUE(std::regex_search(text, std::regex("\n +all( +-?\\d+){6}\n$"))) << text;
}

TEST(Plugin, SaysWhyItDoesNotObserve) {
  const test_support::temp_file report;
  const scoped_variable target("QX_MOBSERVATION_REPORT", report.path());
  const HMODULE plugin = LoadLibraryW(L"libqxtools_mobservation.dll");
  const auto init =
      reinterpret_cast<int (*)(int)>(reinterpret_cast<void (*)()>(GetProcAddress(plugin, "mobserveradminapiinit")));
  ASSERT_NE(init, nullptr);
  EXPECT_EQ(init(0), 0);
  EXPECT_TRUE(FreeLibrary(plugin));
  EXPECT_EQ(test_support::read_file(report.path()), "C run-time allocations of process " +
                                                        std::to_string(GetCurrentProcessId()) +
                                                        " are not observed: it was not asked for\n");
}

}  // namespace

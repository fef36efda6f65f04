// The text of reports: registers, contexts, escaped messages and the whole. The system is scripted.

#include "diag/report/report.hpp"

#include "diag/report/escaped_message.hpp"
#include "diag/report/register_block.hpp"
#include "host/diag_platform.hpp"

#include <gtest/gtest.h>

#include <chrono>
#include <cstring>
#include <iomanip>
#include <sstream>
#include <stdexcept>
#include <string>

namespace {

using namespace foundation::core::diag;
using test_support::host_system;
using test_support::make_fault;

/// A system in which one frame is on the stack, and the present state is at 0x2a.
struct Report : testing::Test {
  Report() {
    host_system().stack = {reinterpret_cast<const void*>(0x2bULL)};
    host_system().rip = 0x2a;
    host_system().thread_id = 4711;
  }
  ~Report() override { test_support::reset_host_system(); }
};

const std::string zero = "0000000000000000";

std::string block(const std::string& rip) {
  std::string text;
  const char* const pairs[][2] = {{"RAX", "RBX"}, {"RCX", "RDX"}, {"RSP", "RBP"}, {"RSI", "RDI"}, {nullptr, nullptr},
                                  {" R8", " R9"}, {"R10", "R11"}, {"R12", "R13"}, {"R14", "R15"}, {nullptr, nullptr}};
  for (const auto& pair : pairs) {
    text +=
        pair[0] == nullptr ? " \n" : std::string("  ") + pair[0] + " = " + zero + "  " + pair[1] + " = " + zero + "\n";
  }
  return text + "  RIP = " + rip + "  EFL = 00000000\n \n   CS = 0000   FS = 0000   GS = 0000\n";
}

const std::string frame_line = "[  0] 0x000000000000002b " + std::string(34, ' ') + "<unknown-module>+00000000\n";

std::string report_of(const report_event& event, const thread_context& context) {
  std::ostringstream os;
  write_report(os, event, context);
  return os.str();
}

TEST(RegisterBlock, HasEveryRegisterInItsPlaceAndLeavesTheStreamInDecimal) {
  registers values{};
  std::uint64_t number = 1;
  for (auto* value = &values.rax; value <= &values.rip; ++value, ++number) {
    *value = number << 60 | number;
  }
  values.flags = 0xABCDEF;
  values.cs = 0x33;
  values.fs = 0x53;
  values.gs = 0xF02B;
  std::ostringstream os;
  os << std::hex << std::showbase << std::uppercase << std::setfill('#');
  write_register_block(os, values);
  EXPECT_EQ(os.str(),
            "  RAX = 1000000000000001  RBX = 2000000000000002\n"
            "  RCX = 3000000000000003  RDX = 4000000000000004\n"
            "  RSP = 5000000000000005  RBP = 6000000000000006\n"
            "  RSI = 7000000000000007  RDI = 8000000000000008\n"
            " \n"
            "   R8 = 9000000000000009   R9 = a00000000000000a\n"
            "  R10 = b00000000000000b  R11 = c00000000000000c\n"
            "  R12 = d00000000000000d  R13 = e00000000000000e\n"
            "  R14 = f00000000000000f  R15 = 0000000000000010\n"
            " \n"
            "  RIP = 1000000000000011  EFL = 00abcdef\n"
            " \n"
            "   CS = 0033   FS = 0053   GS = f02b\n");
  os.str("");
  os << std::setw(3) << 16;
  EXPECT_EQ(os.str(), " 16");
}

TEST_F(Report, ContextsAreEmptyOrEqualByTheirRecords) {
  const thread_context empty(false), none(static_cast<const void*>(nullptr));
  const thread_context real(make_fault(7)), copy = real, other(make_fault(8));
  EXPECT_FALSE(empty || none);
  EXPECT_TRUE(real);
  EXPECT_TRUE(empty.compare(none) && real.compare(copy));
  EXPECT_FALSE(real.compare(other) || real.compare(empty) || empty.compare(real));
  thread_context changing(false);
  changing.capture();
  std::ostringstream text;
  changing.format(text);
  EXPECT_EQ(text.str(), block("000000000000002a"));
  changing.reset(nullptr);
  text.str("");
  changing.format(text);
  EXPECT_EQ(text.str(), "(empty)\n");
}

TEST_F(Report, OfAnAssertionCapturesThePresentState) {
  host_system().thread_name = "planner";
  EXPECT_EQ(report_of({true, "it broke", "solve.cpp", 17, "int solve()"}, thread_context(false)),
            "\nAssertion in int solve() at solve.cpp line 17:\nit broke\n\nCurrent Thread: 'planner' id 4711\n\n"
            "Register State (captured):\n" +
                block("000000000000002a") + "\nStack Trace (captured):\n" + frame_line + "\n");
}

TEST_F(Report, OfAFaultShowsItsStateAndOnlyWhatIsKnownOfThePlace) {
  const std::string rest = "\nit broke\n\nCurrent Thread: '<unknown>' id 4711\n\nRegister State (from fault):\n" +
                           block("0000000000000063") + "\nStack Trace (from fault):\n" + frame_line + "\n";
  const thread_context fault(make_fault(0x63));
  EXPECT_EQ(report_of({false, "it broke", nullptr, 9, nullptr}, fault), "\nAbnormal termination:" + rest);
  EXPECT_EQ(report_of({true, "it broke", "", 9, ""}, fault), "\nAssertion:" + rest);
  EXPECT_EQ(report_of({true, "it broke", "f", -2147483647 - 1, ""}, fault),
            "\nAssertion at f line -2147483648:" + rest);
}

TEST_F(Report, TellsAnExceptionOnItsWayAndEnds) {
  const thread_context fault(make_fault(0x63));
  const std::string head =
      "\nAbnormal termination:\nx\n\nCurrent Thread: '<unknown>' id 4711\n\n"
      "Register State (from fault):\n" +
      block("0000000000000063") + "\nStack Trace (from fault):\n";
  host_system().before_capture = [] { throw std::runtime_error("no symbols"); };
  EXPECT_EQ(report_of({false, "x", nullptr, 0, nullptr}, fault),
            head + "no symbols exception during abnormal termination\n\n");
  host_system().before_capture = [] { throw 5; };
  EXPECT_EQ(report_of({false, "x", nullptr, 0, nullptr}, fault),
            head + "Unknown exception during abnormal termination\n\n");
}

TEST(EscapedMessage, IsAsciiAndCutAt511Bytes) {
  EXPECT_STREQ(escaped_message(u"a\u007f\u0080\u00e9\uFFFF\U0001F600").text,
               "a\x7f\\u0080\\u00E9\\uFFFF\\uD83D\\uDE00");
  EXPECT_STREQ(escaped_message(std::u16string(600, u'x')).text, std::string(511, 'x').c_str());
  EXPECT_STREQ(escaped_message(std::u16string(508, u'x') + u"\u00e9").text, (std::string(508, 'x') + "\\u0").c_str());
}

}  // namespace

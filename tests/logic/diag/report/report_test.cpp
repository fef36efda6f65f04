// The text of reports: registers, contexts, escaped messages and the whole. The system is scripted.

#include "diag/report/report.hpp"

#include "diag/report/escaped_message.hpp"
#include "diag/report/register_block.hpp"
#include "every_test.hpp"
#include "host/diag_platform.hpp"

#include <iomanip>

namespace {

using namespace foundation::core::diag;
using test_support::host_system;
using test_support::make_fault;

/// The present state is at 0x2a.
struct Report : test_support::scripted_test {
  Report() {
    host_system().rip = 0x2a;
    host_system().thread_id = 4711;
  }
};

/// The register block of a state that is 0 but for its program counter.
std::string block(std::uint64_t rip) {
  registers values{};
  values.rip = rip;
  std::ostringstream os;
  write_register_block(os, values);
  return os.str();
}

const std::string frame_line = "[  0] 0x000000000000002b " + std::string(34, ' ') + "<unknown-module>+00000000\n";

/// What follows the message.
std::string rest(const std::string& thread, const std::string& origin, std::uint64_t rip, const std::string& stack) {
  return "\n\nCurrent Thread: '" + thread + "' id 4711\n\nRegister State (" + origin + "):\n" + block(rip) +
         "\nStack Trace (" + origin + "):\n" + stack + "\n";
}

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
  EXPECT_EQ(text.str(), block(0x2a));
  changing.reset(nullptr);
  text.str("");
  changing.format(text);
  EXPECT_EQ(text.str(), "(empty)\n");
}

TEST_F(Report, ShowsThePresentStateOrThatOfTheFaultAndOnlyWhatIsKnownOfThePlace) {
  const thread_context fault(make_fault(0x63));
  const std::string of_fault = "it broke" + rest("<unknown>", "from fault", 0x63, frame_line);
  EXPECT_EQ(report_of({false, "it broke", nullptr, 9, nullptr}, fault), "\nAbnormal termination:\n" + of_fault);
  EXPECT_EQ(report_of({true, "it broke", "", 9, ""}, fault), "\nAssertion:\n" + of_fault);
  EXPECT_EQ(report_of({true, "it broke", "f", -2147483647 - 1, ""}, fault),
            "\nAssertion at f line -2147483648:\n" + of_fault);
  host_system().thread_name = "planner";
  EXPECT_EQ(
      report_of({true, "it broke", "solve.cpp", 17, "int solve()"}, false),
      "\nAssertion in int solve() at solve.cpp line 17:\nit broke" + rest("planner", "captured", 0x2a, frame_line));
}

TEST_F(Report, BeginsItsStackWithTheFrameThatAsksForItAndGoesOnInNumbersWithoutNames) {
  const auto ask = [](std::uintptr_t first) {
    return report_of({true, "x", nullptr, 0, nullptr, reinterpret_cast<const void*>(first)}, false);
  };
  host_system().stack.insert(host_system().stack.begin(), nullptr);
  EXPECT_EQ(ask(0x2b), "\nAssertion:\nx" + rest("<unknown>", "captured", 0x2a, frame_line));
  host_system().no_names = true;
  const std::string numbers = "[  0] 0x0000000000000000\n[  1] 0x000000000000002b\n";
  for (const std::uintptr_t whole : {0u, 7u}) {
    EXPECT_THAT(ask(whole), testing::HasSubstr("stopped inside the symbol service or the loader.\n" + numbers + "\n"))
        << whole;
  }
}

TEST_F(Report, TellsAnExceptionOnItsWayAndEnds) {
  const thread_context fault(make_fault(0x63));
  const auto expect_told = [&](const std::string& failure, void (*fail)()) {
    host_system().before_capture = fail;
    EXPECT_EQ(report_of({false, "x", nullptr, 0, nullptr}, fault),
              "\nAbnormal termination:\nx" +
                  rest("<unknown>", "from fault", 0x63, failure + " exception during abnormal termination\n"));
  };
  expect_told("no symbols", [] { throw std::runtime_error("no symbols"); });
  expect_told("Unknown", [] { throw 5; });
}

TEST(EscapedMessage, IsAsciiAndCutAt511Bytes) {
  EXPECT_STREQ(escaped_message(u"a\u007f\u0080\u00e9\uFFFF\U0001F600").text,
               "a\x7f\\u0080\\u00E9\\uFFFF\\uD83D\\uDE00");
  EXPECT_STREQ(escaped_message(std::u16string(600, u'x')).text, std::string(511, 'x').c_str());
  EXPECT_STREQ(escaped_message(std::u16string(508, u'x') + u"\u00e9").text, (std::string(508, 'x') + "\\u0").c_str());
}

}  // namespace

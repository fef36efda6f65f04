#include "crash/fault_text.hpp"

#include "crash/crash_turn.hpp"
#include "every_test.hpp"

namespace {

using namespace foundation::kit;
using outcome = crash_turn::outcome;

TEST(FaultText, SaysWhatWasAccessedWhereThatIsKnown) {
  const auto text = [](std::uint32_t code, const std::vector<std::uint64_t>& parameters) {
    text_line line;
    put_fault(line, {code, parameters.size(), parameters.data()});
    return std::string(line.c_str());
  };
  EXPECT_EQ(text(0xC0000005, {0, 0x10}), "access violation (0xC0000005) reading address 0x0000000000000010");
  EXPECT_EQ(text(0xC0000005, {1, ~0ULL}), "access violation (0xC0000005) writing address 0xFFFFFFFFFFFFFFFF");
  EXPECT_EQ(text(0xC0000005, {8, 0x1000}), "access violation (0xC0000005) executing address 0x0000000000001000");
  EXPECT_THAT(text(0xC0000005, {8, 0}),
              testing::EndsWith(": a null pointer to a function was called, or a pure virtual function"));
  EXPECT_EQ(text(0xC0000005, {3, 0}), "access violation (0xC0000005) at address 0x0000000000000000");
  EXPECT_EQ(text(0xC0000005, {1}), "access violation (0xC0000005)");
  EXPECT_EQ(text(0xC0000006, {0, 0x2000, 0xFFFFFFFFC000009CULL}),
            "a page could not be read in (0xC0000006) reading address 0x0000000000002000, status 0xC000009C");
  EXPECT_EQ(text(0xC0000094, {1, 2, 3}), "integer division by zero (0xC0000094)");
  EXPECT_EQ(text(0x00000042, {}), "exception 0x00000042");
}

TEST(FaultText, WhatDoesNotFitIsDropped) {
  text_line line;
  line.put(std::string(5000, 'x')).decimal(7);
  EXPECT_EQ(line.view(), std::string(2047, 'x'));
  EXPECT_STREQ(line.c_str(), std::string(2047, 'x').c_str());
  line.clear();
  EXPECT_STREQ(line.decimal(18446744073709551615U).put(' ').decimal(0).c_str(), "18446744073709551615 0");
}

TEST(CrashTurn, TheFirstReportsAndGoesOnWhereItCrashesAgain) {
  crash_turn turn;
  EXPECT_EQ(turn.arrive(7), outcome::closed);
  turn.open();
  EXPECT_EQ(turn.arrive(7), outcome::first);
  EXPECT_EQ(turn.arrive(8), outcome::other);
  EXPECT_EQ(turn.begin_step(), 0u);
  EXPECT_EQ(turn.arrive(7), outcome::again);
  turn.delegate_to(9);
  EXPECT_EQ(turn.arrive(9), outcome::again);
  EXPECT_EQ(turn.begin_step(), 1u);
  EXPECT_EQ(turn.close(8), outcome::other);
  EXPECT_EQ(turn.close(7), outcome::again);
}

TEST(CrashTurn, NobodyReportsOnceItIsClosedUntilItIsOpenAgain) {
  crash_turn turn;
  turn.open();
  EXPECT_EQ(turn.close(7), outcome::first);
  EXPECT_EQ(turn.arrive(7), outcome::closed);
  EXPECT_EQ(turn.close(7), outcome::closed);
  turn.open();
  EXPECT_EQ(turn.arrive(8), outcome::first);
}

}  // namespace

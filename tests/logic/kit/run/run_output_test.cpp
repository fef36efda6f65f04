// What is kept of an output, its text, its lines, and what an exception says of it.

#include "every_test.hpp"
#include "run/head_and_tail.hpp"
#include "seeded_random.hpp"

#include <kit/by_lines.hpp>
#include <kit/run.hpp>

namespace kit = foundation::kit;
using kit::detail::head_and_tail;

namespace {

kit::run_output kept(std::string_view all, std::optional<std::size_t> limit, test_support::seeded_random& random) {
  head_and_tail output(limit);
  while (!all.empty()) {
    const std::size_t size = std::min<std::size_t>(all.size(), random.below(7));
    output.append(all.substr(0, size));
    all.remove_prefix(size);
  }
  return std::move(output).take();
}

}  // namespace

TEST(RunOutput, KeepsEverythingUpToTheLimitAndBeyondItTheBeginningAndTheEnd) {
  test_support::seeded_random random;
  std::string all;
  for (std::size_t length = 0; length != 60; all += static_cast<char>('0' + length++)) {
    for (std::size_t limit = 0; limit != 20; ++limit) {
      const kit::run_output output = kept(all, limit, random);
      const std::size_t half = limit / 2, head = limit - half;
      if (length <= limit) {
        EXPECT_EQ(output.bytes, all);
        EXPECT_FALSE(output.truncated());
      } else {
        EXPECT_EQ(output.bytes, all.substr(0, head) + all.substr(length - half)) << length << ' ' << limit;
        EXPECT_EQ(output.dropped, length - limit);
        EXPECT_EQ(output.gap, head);
      }
    }
    EXPECT_EQ(kept(all, std::nullopt, random).bytes, all);
  }
}

TEST(RunOutput, TextSaysWhereBytesAreMissingAndHasPlainLineEnds) {
  kit::run_output output;
  output.bytes = "a\r\n\rb\r\xFF";
  EXPECT_EQ(output.text(), "a\n\rb\r\uFFFD");
  output.dropped = 7;
  output.gap = 2;
  EXPECT_EQ(output.text(), "a\r\n[... 7 bytes left out ...]\n\n\rb\r\uFFFD");
  output.bytes = std::string("\0x\0\r\0\n", 6);
  output.dropped = 0;
  EXPECT_EQ(output.wide_text("UTF-16BE"), u"x\n");
  EXPECT_THROW(output.text("no such encoding"), std::exception);
}

TEST(RunOutput, TextLeavesOutUnitsThatAreCut) {
  test_support::seeded_random random;
  const kit::run_output output = kept(std::string("a\0b\0c\0d\0e\0f\0g\0", 14), 10, random);
  EXPECT_EQ(output.dropped, 4u);
  EXPECT_EQ(output.wide_text("UTF-16LE"), u"ab\n[... 6 bytes left out ...]\nfg");
  EXPECT_EQ(kept(std::string("\xFF\xFE"
                             "a\0b\0c\0d\0e\0f\0g\0",
                             16),
                 12, random)
                .wide_text("UTF-16"),
            u"ab\n[... 4 bytes left out ...]\nefg")
      << "the order of the mark";
}

TEST(RunOutput, LinesComeWholeHoweverTheirPiecesAreCut) {
  const std::string all = "one\r\n\ntwo\r\r\n\r\nlast\r";
  const std::vector<std::string> lines = {"one", "", "two\r", "", "last\r"};
  test_support::seeded_random random;
  for (int round = 0; round != 50; ++round) {
    std::vector<std::string> got;
    const auto receive = kit::by_lines([&](std::string_view line) { got.emplace_back(line); });
    for (std::size_t at = 0; at != all.size();) {
      const std::size_t size = std::min<std::size_t>(all.size() - at, 1 + random.below(6));
      receive(std::string_view(all).substr(at, size));
      at += size;
    }
    EXPECT_EQ(got.size(), 4u) << "not before its end is seen";
    receive({});
    EXPECT_EQ(got, lines);
  }
}

TEST(RunOutput, AnErrorTellsTheCommandItsEndAndTheLastWholeLines) {
  const auto text_of = [](kit::run_result result) {
    return std::string(kit::run_error(kit::process::make_command("tool", "a b"), std::move(result)).what());
  };
  kit::run_result result;
  EXPECT_EQ(text_of(result), "\"tool a b\" ended without a known exit code");
  result.status = kit::process::detail::exited{0xC0000005, 0xC0000005};
  result.out.bytes = std::string("no\0tes\r\n\r\n", 10);
  EXPECT_EQ(text_of(result), "\"tool a b\" ended with exit code 3221225477 (0xC0000005):\nno tes");
  result.end = kit::run_end::time_limit;
  result.err.bytes = std::string(1999, 'x') + "\n" + std::string(100, 'y') + "\n";
  EXPECT_EQ(text_of(result), "\"tool a b\" was ended at its time limit:\n" + std::string(100, 'y'));
  result.end = kit::run_end::cancelled;
  result.err.bytes.clear();
  for (int i = 0; i != 1500; ++i) {
    result.err.bytes += "\u00E9";
  }
  result.err.bytes += ".";
  EXPECT_EQ(text_of(result), "\"tool a b\" was cancelled:\n" + result.err.bytes.substr(1002));
}

// The counters of the observation plug-in and the table that it prints of them.
#include "report.hpp"

#include <gtest/gtest.h>

#include <algorithm>
#include <thread>
#include <vector>

#include "seeded_random.hpp"

namespace {

using namespace mobservation;

TEST(ObservationCounters, AClassEndsAtAPowerOfTwo) {
  EXPECT_EQ(size_class(0), 0u);
  EXPECT_EQ(size_class(1), 0u);
  for (std::size_t which = 1; which + 1 != size_classes; ++which) {
    EXPECT_EQ(size_class((std::size_t{1} << (which - 1)) + 1), which);
    EXPECT_EQ(size_class(std::size_t{1} << which), which);
  }
  EXPECT_EQ(size_class(SIZE_MAX), size_classes - 1);
}

TEST(ObservationCounters, AgreeWithAListOfBlocks) {
  test_support::seeded_random random;
  counters counted;
  std::vector<std::size_t> blocks;
  std::size_t allocations = 0, bytes = 0, live = 0, peak = 0;
  for (int round = 0; round != 20000; ++round) {
    if (blocks.empty() || random.chance(52)) {
      blocks.push_back(random.below(std::size_t{1} << random.below(20)));
      counted.allocated(blocks.back());
      ++allocations;
      bytes += blocks.back();
      live += blocks.back();
      peak = std::max(peak, live);
    } else {
      std::swap(blocks[random.below(blocks.size())], blocks.back());
      counted.freed(blocks.back());
      live -= blocks.back();
      blocks.pop_back();
    }
  }
  const figures total = counted.total();
  EXPECT_EQ(total.allocations, allocations);
  EXPECT_EQ(total.allocated, bytes);
  EXPECT_EQ(total.live_blocks(), static_cast<std::int64_t>(blocks.size()));
  EXPECT_EQ(total.live, static_cast<std::int64_t>(live));
  EXPECT_EQ(total.peak, static_cast<std::int64_t>(peak));
}

TEST(ObservationCounters, LoseNothingBetweenThreads) {
  counters counted;
  std::vector<std::thread> threads;
  for (int number = 0; number != 4; ++number)
    threads.emplace_back([&] {
      for (int round = 0; round != 10000; ++round) {
        counted.allocated(100);
        counted.freed(100);
      }
      counted.allocated(100);
    });
  for (auto& thread : threads)
    thread.join();
  const figures read = counted.of_class(7);
  EXPECT_EQ(read.allocations, 40004u);
  EXPECT_EQ(read.frees, 40000u);
  EXPECT_EQ(read.live, 400);
  EXPECT_GE(read.peak, 400);
  EXPECT_LE(read.peak, 800);
}

TEST(ObservationReport, HasALineForEachClassThatWasUsedAndOneForAll) {
  counters counted;
  counted.allocated(0);
  counted.allocated(1000);
  counted.allocated(1024);
  counted.freed(1000);
  counted.freed(5);  // Older than the observation.
  counted.allocated(std::size_t{1} << 46);
  report_text text;
  put_table(text, counted);
  EXPECT_EQ(text.view(),
            "     block up to     allocations           bytes           frees            live      live bytes      "
            "peak bytes\n"
            "               1               1               0               0               1               0          "
            "     0\n"
            "               8               0               0               1              -1              -5          "
            "     0\n"
            "            1024               2            2024               1               1            1024          "
            "  2024\n"
            "  70368744177664               1  70368744177664               0               1  70368744177664  "
            "70368744177664\n"
            "             all               4  70368744179688               2               2  70368744178683  "
            "70368744178683\n");
}

TEST(ObservationReport, IsCutWhenItIsFullAndHoldsAFullTable) {
  counters counted;
  for (std::size_t which = 0; which != size_classes; ++which)
    for (int count = 0; count != 3; ++count)
      counted.allocated(std::size_t{1} << which);
  report_text text;
  put_table(text, counted);
  EXPECT_EQ(std::count(text.view().begin(), text.view().end(), '\n'), 50);
  for (int i = 0; i != 1000; ++i)
    text.put("0123456789");
  EXPECT_EQ(text.view().size(), 8192u);
}

}  // namespace

// The counters of the observation plug-in and the table that it prints of them.
#include "every_test.hpp"
#include "report.hpp"

namespace {

using namespace mobservation;

TEST(ObservationReport, HasALineForEachClassThatWasUsedAndOneForAll) {
  counters counted;
  counted.allocated(1000);
  counted.allocated(1024);
  counted.freed(5);  // Older than the observation.
  counted.allocated(std::size_t{1} << 46);
  counted.freed(1000);
  counted.allocated(0);
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
            "70368744179683\n");
}

TEST(ObservationReport, HasRoomForAllClassesAndIsCutThen) {
  counters counted;
  for (std::size_t which = 0; which != size_classes; ++which) {
    counted.allocated(std::size_t{1} << which);
  }
  EXPECT_EQ(size_class(SIZE_MAX), size_classes - 1);
  report_text text;
  text.put(-50);
  put_table(text, counted);
  EXPECT_EQ(text.view().find("-50     block"), 0u);
  EXPECT_EQ(std::count(text.view().begin(), text.view().end(), '\n'), 50);
  text.put(std::string(8192, 'x'));
  EXPECT_EQ(text.view().size(), 8192u);
}

}  // namespace

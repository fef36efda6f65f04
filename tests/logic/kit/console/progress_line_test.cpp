#include "every_test.hpp"

#include <kit/progress_line.hpp>

namespace {

using foundation::kit::progress_line;
using namespace std::chrono_literals;

TEST(ProgressLine, ShowsNothingAtFirstThenTwiceASecondAndEndsTheLine) {
  std::ostringstream out;
  progress_line::time_point now{1h};
  {
    progress_line line(out, [&] { return now; });
    line.show("a");
    now += 999ms;
    line.show("b");
    EXPECT_EQ(out.str(), "");
    now += 1ms;
    line.show("long");
    now += 499ms;
    line.show_bytes(1);
    now += 1ms;
    line.show("c");
    now += 1h;
    line.show_bytes(1572864, 1048576ULL * 5000000);
    now += 500ms;
    line.show_bytes(std::uint64_t{1} << 63);
    now += 500ms;
    line.show("four");
    now += 500ms;
    line.show("\u00e4\u20ac");
    now += 500ms;
    line.show("\U0001F600");
  }
  EXPECT_EQ(out.str(), "\rlong\rc   \r1.5 of 5000000.0 MiB\r8796093022208.0 MiB \rfour" + std::string(15, ' ') +
                           "\r\u00e4\u20ac  \r\U0001F600 \n");
  {
    progress_line unseen(out);
  }
  EXPECT_EQ(out.str().back(), '\n');
  EXPECT_NE(out.str().substr(out.str().size() - 2), "\n\n");
}

}  // namespace

// Functions in the place of child processes: their status, the pipe ends that they get, and being detached. How a mock
// process ends the whole process is seen by crash_test.
#include <fl/process/iopipe.hpp>
#include <fl/process/mock_process.hpp>
#include <fl/process/open_mode.hpp>

#include "every_test.hpp"
#include "host/pipe_calls.hpp"

#include <boost/tuple/tuple.hpp>

#include <latch>

namespace {

namespace process = foundation::core::process;
namespace open_mode = process::open_mode;
using process::context;
using process::iopipe;
using process::mock_process;

TEST(MockProcess, HasExitedOnceTheFunctionReturnsWithItsValueWithoutTheSign) {
  std::latch end(1);
  int calls = 0;
  mock_process child([&] {
    end.wait();
    return -++calls;
  });
  EXPECT_FALSE(child.exited());
  end.count_down();
  while (!child.exited()) {
    std::this_thread::yield();  // though nobody joins
  }
  for (int again = 0; again != 2; ++again) {
    child.join();
    EXPECT_EQ(child.exit_status(), 4294967295u);
  }
  EXPECT_EQ(calls, 1);
}

TEST(MockProcess, DevicesForgetTheEndsThatTheModeNamesAndNobodyClosesThem) {
  test_support::pipe_script script;
  {
    iopipe read, write;
    context how;
    how.inherit_pipe(read, open_mode::read);
    how.inherit_pipe(write, open_mode::write);
    mock_process child(boost::tuples::tuple<const boost::function<int()>, const context>([] { return 0; }, how));
    EXPECT_TRUE(read.is_open_for_write() && !read.device().handles().read_handle());
    EXPECT_TRUE(write.is_open_for_read() && !write.device().handles().write_handle());
    child.join();
  }
  EXPECT_EQ(script.closed.size(), 2u) << "the ends that their pipes have kept";
}

TEST(MockProcess, ADetachedFunctionOutlivesItsObjectWhichTellsNothingMore) {
  const auto end = std::make_shared<std::latch>(1);
  {
    mock_process child([end] {
      end->wait();
      return 0;
    });
    child.detach();
    child.detach();
    const auto detached = testing::ThrowsMessage<std::logic_error>("mock_process is detached");
    EXPECT_THAT([&] { child.join(); }, detached);
    EXPECT_THAT([&] { child.exit_status(); }, detached);
    EXPECT_THAT([&] { child.exited(); }, detached);
  }
  EXPECT_GT(end.use_count(), 1) << "the thread holds it";
  end->count_down();
  while (end.use_count() != 1) {
    std::this_thread::yield();  // Its status, which nobody asks for, is stored by then.
  }
}

}  // namespace

// Functions in the place of child processes: their status, the pipe ends that they get, and being detached. How a mock
// process ends the whole process is seen by crash_test.
#include <fl/process/iopipe.hpp>
#include <fl/process/mock_process.hpp>
#include <fl/process/open_mode.hpp>

#include "every_test.hpp"
#include "host/pipe_calls.hpp"
#include "thrown_text.hpp"

#include <boost/tuple/tuple.hpp>

namespace {

namespace process = foundation::core::process;
namespace open_mode = process::open_mode;
using process::context;
using process::iopipe;
using process::mock_process;
using test_support::text_thrown_by;

void expect_detached(mock_process& child) {
  const std::string detached = "mock_process is detached";
  EXPECT_EQ(text_thrown_by<std::logic_error>([&] { child.join(); }), detached);
  EXPECT_EQ(text_thrown_by<std::logic_error>([&] { child.exit_status(); }), detached);
  EXPECT_EQ(text_thrown_by<std::logic_error>([&] { child.exited(); }), detached);
}

void wait_until(const std::atomic<bool>& flag) {
  while (!flag) {
    std::this_thread::yield();
  }
}

TEST(MockProcess, HasExitedOnceTheFunctionReturnsWithItsValueWithoutTheSign) {
  std::atomic<bool> end{false};
  int calls = 0;
  mock_process child([&] {
    wait_until(end);
    return -++calls;
  });
  EXPECT_FALSE(child.exited());
  end = true;
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
    iopipe both, read, write;
    context how;
    how.inherit_pipe(both, open_mode::read | open_mode::write);
    how.inherit_pipe(read, open_mode::read);
    how.inherit_pipe(write, open_mode::write);
    mock_process child(boost::tuples::tuple<const boost::function<int()>, const context>([] { return 0; }, how));
    EXPECT_FALSE(both.is_open_for_read() || both.is_open_for_write());
    EXPECT_EQ(both.device().handles().read_handle(), nullptr);
    EXPECT_EQ(both.device().handles().write_handle(), nullptr);
    EXPECT_TRUE(read.is_open_for_write() && !read.is_open_for_read());
    EXPECT_TRUE(write.is_open_for_read() && !write.is_open_for_write());
    child.join();
  }
  EXPECT_EQ(script.closed.size(), 2u) << "the ends that their pipes have kept";
}

TEST(MockProcess, ADetachedFunctionOutlivesItsObject) {
  std::atomic<bool> end{false};
  auto held = std::make_shared<int>();
  const std::weak_ptr<int> by_the_thread = held;
  {
    mock_process child([&end, held = std::move(held)] {
      wait_until(end);
      return *held;
    });
    child.detach();
    expect_detached(child);
    child.detach();
  }
  EXPECT_FALSE(by_the_thread.expired());
  end = true;
  while (!by_the_thread.expired()) {
    std::this_thread::yield();  // Its status, which nobody asks for, is stored by then.
  }

  mock_process finished([] { return 0; });
  finished.join();
  finished.detach();
  expect_detached(finished);
}

}  // namespace

// Functions in the place of child processes: their status, the pipes that they get, and being detached. How a mock
// process ends the whole process is seen by crash_test.
#include <fl/process.hpp>

#include "handle_leak.hpp"

#include <boost/tuple/tuple.hpp>
#include <gtest/gtest.h>

#include <windows.h>

#include <memory>
#include <stdexcept>
#include <string>

namespace {

namespace process = foundation::core::process;
namespace open_mode = process::open_mode;
using process::context;
using process::iopipe;
using process::iopipe_descriptor;
using process::mock_process;

// Answers each line that it reads with its length, and returns how many lines there were.
int serve(const iopipe_descriptor& in, const iopipe_descriptor& out) {
  iopipe requests(in), answers(out);
  int count = 0;
  for (std::string line; std::getline(requests, line); ++count) {
    answers << line.size() << std::endl;
  }
  return count;
}

// The object in the example of the header, with what goes through its pipes.
void exchange_lines() {
  iopipe requests, answers;
  context how;
  const iopipe_descriptor in = how.inherit_pipe(requests, open_mode::read);
  const iopipe_descriptor out = how.inherit_pipe(answers, open_mode::write);
  mock_process child([=] { return serve(in, out); }, how);
  std::string answer;
  requests << "hello\n" << std::flush;
  EXPECT_TRUE(std::getline(answers, answer) && answer == "5") << answer;
  EXPECT_FALSE(child.exited()) << "it waits for the next line";
  requests.close_for_write();
  EXPECT_FALSE(std::getline(answers, answer)) << "no other handle keeps the answers from ending";
  EXPECT_EQ(child.exit_status(), 1u);
}

void expect_detached(mock_process& child) {
  const auto expect_throw = [](auto call) {
    try {
      call();
      ADD_FAILURE() << "does not throw";
    } catch (const std::logic_error& error) {
      EXPECT_STREQ(error.what(), "mock_process is detached");
    }
  };
  expect_throw([&] { child.join(); });
  expect_throw([&] { child.exit_status(); });
  expect_throw([&] { child.exited(); });
}

TEST(MockProcess, TalksThroughItsPipesAndLeavesNoHandle) {
  EXPECT_TRUE(test_support::loses_no_handle(exchange_lines));
}

TEST(MockProcess, TheStatusIsTheValueOfTheFunctionWithoutItsSign) {
  int calls = 0;
  mock_process child([&] { return -++calls; });
  child.join();
  child.join();
  EXPECT_TRUE(child.exited());
  EXPECT_EQ(child.exit_status(), 4294967295u);
  EXPECT_EQ(child.exit_status(), 4294967295u);
  EXPECT_EQ(calls, 1);
}

TEST(MockProcess, HasExitedOnceTheFunctionReturnsThoughNobodyJoins) {
  iopipe pipe;
  context how;
  const iopipe_descriptor in = how.inherit_pipe(pipe, open_mode::read);
  mock_process child([=] { return iopipe(in).get(); }, how);
  EXPECT_FALSE(child.exited());
  EXPECT_TRUE(pipe.is_open_for_write()) << "only the end that the mode names is given away";
  pipe << 'x' << std::flush;
  while (!child.exited()) {
    ::Sleep(1);  // The watchdog ends a test that stays here.
  }
  EXPECT_EQ(child.exit_status(), unsigned{'x'});
}

TEST(MockProcess, ADeviceForgetsBothEndsAndTheFunctionGoesOnUsingThem) {
  iopipe pipe, start;
  context how;
  const iopipe_descriptor both = how.inherit_pipe(pipe, open_mode::read | open_mode::write);
  const iopipe_descriptor in = how.inherit_pipe(start, open_mode::read);
  const auto talk_to_itself = [=] {
    iopipe(in).get();
    iopipe own(both);
    own << "q" << std::flush;
    return own.get();
  };
  mock_process child(boost::tuples::tuple<const boost::function<int()>, const context>(talk_to_itself, how));
  EXPECT_FALSE(pipe.is_open_for_read() || pipe.is_open_for_write());
  EXPECT_TRUE(pipe.device().handles().read_handle() == nullptr && pipe.device().handles().write_handle() == nullptr);
  start.close();
  EXPECT_EQ(child.exit_status(), unsigned{'q'});
}

TEST(MockProcess, ADetachedFunctionOutlivesItsObject) {
  iopipe requests, answers;
  context how;
  const iopipe_descriptor in = how.inherit_pipe(requests, open_mode::read);
  const iopipe_descriptor out = how.inherit_pipe(answers, open_mode::write);
  auto held = std::make_shared<int>();
  const std::weak_ptr<int> by_the_thread = held;
  {
    mock_process child([=, held = std::move(held)] { return *held + serve(in, out); }, how);
    child.detach();
    expect_detached(child);
    child.detach();
  }
  requests << "still here\n" << std::flush;
  requests.close_for_write();
  std::string answer;
  EXPECT_TRUE(std::getline(answers, answer) && answer == "10") << answer;
  while (!by_the_thread.expired()) {
    ::Sleep(1);  // Its status, which nobody asks for, is stored by then.
  }

  mock_process finished([] { return 0; });
  finished.join();
  finished.detach();
  expect_detached(finished);
}

}  // namespace

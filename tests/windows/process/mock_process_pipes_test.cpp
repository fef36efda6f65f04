// Functions in the place of child processes, at work with real pipes.
#include <fl/process.hpp>

#include "handle_leak.hpp"

#include <gtest/gtest.h>

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

TEST(MockProcess, TalksThroughItsPipesAndLeavesNoHandle) {
  EXPECT_TRUE(test_support::loses_no_handle(exchange_lines));
}

}  // namespace

// Takes the place of the end of the process in tests of the fatal path: a thread that comes to it stands still for
// good, and the test goes on. A thread that no test has sent there ends the process.
#pragma once

#include <functional>
#include <future>
#include <string>

namespace test_support {

/// What the final stage was given.
struct last_words {
  std::string message, file;
  int line;
  std::string function;
};

/// Runs `work` on a thread of its own. The future has a broken promise if it does not come to the final stage; what
/// `work` refers to must live as long as the process.
std::future<last_words> run_to_final_stage(std::function<void()> work);

}  // namespace test_support

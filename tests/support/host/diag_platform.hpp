// What the logic of diagnostics asks of a system, scripted: stacks, symbols, registers and threads are what a test
// says.
#pragma once

#include "diag/symbol_lookup.hpp"

#include <gtest/gtest.h>

#include <functional>
#include <future>
#include <string>
#include <vector>

namespace test_support {

struct scripted_system {
  std::vector<const void*> stack;        ///< What every capture gives, as far as it fits.
  std::function<void()> before_capture;  ///< Called at each capture from a context, if set; may throw.
  unsigned long long rip = 0;            ///< The program counter of every captured context; other registers are 0.
  std::string thread_name;               ///< Empty: the thread has none.
  unsigned long thread_id = 0;           ///< 0: each thread has one of its own.
  /// What is known of a frame.
  std::function<void(const void*, foundation::core::diag::frame_description&)> describe;
  int lookups = 0;                        ///< Living holders of the symbol service.
  bool no_names = false;                  ///< The symbol service can be had no more.
  bool writes_to_standard_error = false;  ///< Failures are not to be shown in a dialog.
};

scripted_system& host_system();

/// A test on such a system as above, in which one frame is on the stack.
struct scripted_test : testing::Test {
  scripted_test() {
    host_system() = {};
    host_system().stack = {reinterpret_cast<const void*>(0x2bULL)};
  }
};

/// Runs `work` on a thread of its own. Where it comes to the end of the process it stands still for good, and the test
/// goes on with what the final stage was given: the message, and on a line of its own function, file and line. What
/// `work` refers to must live as long.
std::future<std::string> run_to_final_stage(std::function<void()> work);

/// A fault as a handler gets it, with `rip` as its program counter. Lives until the next call.
const void* make_fault(unsigned long long rip);

}  // namespace test_support

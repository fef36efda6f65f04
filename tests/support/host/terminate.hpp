// Takes the place of the fatal path in tests of logic: what would end the process is kept and thrown.
#pragma once

#include <string>
#include <vector>

namespace test_support {

/// What `diag::terminate` throws here.
struct termination {
  std::string message;
  std::string file;  ///< empty for null
  int line;
  std::string function;  ///< empty for null
};

/// The calls of `diag::terminate` since the last `forget_terminations`, in order. For one thread.
const std::vector<termination>& terminations();
void forget_terminations();

}  // namespace test_support

// Runs a child program to its end with plain system calls, independent of the code under test: what tests of the tests
// use, and what can serve as a second opinion.
#pragma once

#include <cstdint>
#include <string>
#include <vector>

namespace test_support {

/// What a child left behind.
struct child_result {
  std::uint32_t exit_code;
  std::string out;  ///< standard output, as bytes
  std::string err;  ///< standard error, as bytes
};

/// Starts `name`.exe of the test programs' folder with `arguments`, a UTF-8 text that is put behind the program's
/// quoted path as it stands, gives it `input` as standard input, and waits. Inherited are the three standard handles
/// and those of `inherited`, which must be inheritable; they stay the caller's. Throws std::system_error, naming the
/// call, if the child cannot be started.
child_result run_child(const std::string& name, const std::string& arguments = {}, const std::string& input = {},
                       const std::vector<void*>& inherited = {});

}  // namespace test_support

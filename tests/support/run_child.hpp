// Runs a child program to its end, independent of the code under test.
#pragma once

#include <cstdint>
#include <string>

namespace test_support {

/// What a child left behind.
struct child_result {
  std::uint32_t exit_code;
  std::string out;  ///< standard output, as bytes
  std::string err;  ///< standard error, as bytes
};

/// Lets the system's command interpreter start `name`.exe of the test programs' folder with one argument, a word
/// without special characters, and waits. May be called from any thread.
child_result run_child(const std::string& name, const std::string& argument);

}  // namespace test_support

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

/// Starts `name`.exe of the test programs' folder with one argument (UTF-8), and waits. Throws std::system_error if it
/// cannot be started. May be called from any thread.
child_result run_child(const std::string& name, const std::string& argument);

}  // namespace test_support

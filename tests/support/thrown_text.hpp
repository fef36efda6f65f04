// What an exception says.
#pragma once

#include <string>

namespace test_support {

/// The text of the `Exception` that `operation` throws, or "nothing was thrown".
template <class Exception, class Operation>
std::string text_thrown_by(Operation operation) {
  try {
    operation();
  } catch (const Exception& e) {
    return e.what();
  }
  return "nothing was thrown";
}

}  // namespace test_support

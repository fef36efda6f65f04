// The library's assertions: a condition of its own that does not hold ends the process.
#pragma once

#include <fl/diag/terminate.hpp>

#include <source_location>

namespace foundation::core::diag {

/// Ends the process unless the condition `holds`. `expression` is the condition as it is written, `file` the path of
/// the source without its suffix. Returns never if it fails.
inline void assert_that(bool holds, const char* expression, const char* file,
                        std::source_location where = std::source_location::current()) {
  if (!holds && fl_diag_terminate()) {
    terminate(expression, file, static_cast<int>(where.line()), where.function_name());
  }
}

}  // namespace foundation::core::diag

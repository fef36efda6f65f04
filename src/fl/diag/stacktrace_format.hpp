// The symbolic form of a stack, for callers that have no stream word to go by.
#pragma once

#include <fl/diag/stacktrace.hpp>

#include <ostream>

namespace foundation::core::diag {

/// Prints all frames in the symbolic form, whatever the stream was set to. Reading a stream's setting may allocate;
/// this does not.
void write_symbolic(std::ostream& os, const stacktrace_base& stack);

}  // namespace foundation::core::diag

// The form in which reports show a stack.
#pragma once

#include <fl/diag/stacktrace.hpp>

#include <ostream>

namespace foundation::core::diag {

/// Prints the frames from the first one equal to `start` on, all if there is none, in the symbolic form, whatever the
/// stream was set to. From where on the symbol service cannot be asked, because a thread was stopped in it, says so and
/// goes on in the numeric form, which asks the system nothing. Reading a stream's setting may allocate; this does not.
void write_for_report(std::ostream& os, const stacktrace_base& stack, const void* start);

}  // namespace foundation::core::diag

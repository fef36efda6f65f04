// Why std::terminate was called, for a handler of it. Allocates nothing, except that the C++ run-time makes what it
// keeps for a thread where the thread has never had an exception, unless the call was that of a pure virtual function.
#pragma once

#include "crash/text_line.hpp"

namespace foundation::kit {

/// Finds what `put_uncaught` needs while the process is well.
void prepare_uncaught() noexcept;

/// Puts what the calling thread is in the handler for behind the line: ": std::runtime_error: no such city", or that a
/// pure virtual function was called; nothing if there is nothing to say. Calls the exception's `what`, which may do
/// anything.
void put_uncaught(text_line& line) noexcept;

}  // namespace foundation::kit

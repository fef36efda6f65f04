// Prints the stacks of this process's threads on standard error, with the names of functions, for reports of crashes
// and hangs. By its own means, not by the library's: that is under test, and tests break it on purpose.
//
// Thread safety: none. The caller sees to it that one thread reports at a time.
#pragma once

#include <windows.h>

namespace test_support {

/// Prints the stack that `context`, of this thread or one that stands still, is in.
void dump_stack(const CONTEXT& context);

/// Prints the stacks of all threads but this one; each is suspended while its addresses are gathered, but not while
/// they are turned into names.
void dump_other_threads();

}  // namespace test_support

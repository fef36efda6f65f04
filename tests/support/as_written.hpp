// AS_WRITTEN: a function that is called as the source says, and knows nothing of its callers nor they of it; for stacks
// that hold what the test expects.
#pragma once

#ifdef __clang__
#define AS_WRITTEN [[clang::noinline, clang::optnone]]
#else
#define AS_WRITTEN [[gnu::noipa]]
#endif

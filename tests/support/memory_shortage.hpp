// A process without memory: fault injection for what must work then.
#pragma once

#include <cstddef>

namespace test_support {

/// From now on every allocation of the library, the C++ run-time and this program fails, `operator new` included, which
/// calls malloc. Those of the system's own DLLs, such as its symbol service, do not go through these. Returns how many
/// imports are replaced, and 0 if malloc still gives memory. Call it once.
std::size_t take_memory_away();

/// From now on they go through again.
void give_memory_back();

/// How many allocations have failed since memory was taken away, or since this was last called. Allocates nothing.
int take_refused_allocations();

}  // namespace test_support

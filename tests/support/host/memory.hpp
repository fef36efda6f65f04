// What the logic of memory asks of a system, scripted. Pages have 4,096 bytes, and there is no reader of statistics
// until a test sets one.
#pragma once

#include "mem/physical_memory.hpp"

namespace test_support {

/// What RamState sees, for the test to set.
foundation::core::mem::physical_memory& host_memory();

}  // namespace test_support

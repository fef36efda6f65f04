// Whether some work leaves handles behind.
#pragma once

#include <gtest/gtest.h>

#include <functional>

namespace test_support {

/// Repeats `work`, four times at most, until a run ends with no more handles than it began with. A leak grows with
/// every run; what the system and the run-time make once and then keep does not: with the first exception, the first
/// text of an error, or the first time that two threads meet at a lock, which may come with any run.
testing::AssertionResult loses_no_handle(const std::function<void()>& work);

}  // namespace test_support

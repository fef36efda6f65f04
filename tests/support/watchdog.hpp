// Ends a program that hangs, with the stacks of all its threads on standard error.
#pragma once

namespace test_support {

/// How a program ends that the watchdog stopped.
inline constexpr unsigned hang_exit_code = 98;

/// From now on ends the program when a test takes longer than `limit_s` seconds, or what lies between two tests or
/// behind the last: fixtures and exit handlers can hang too. To be called once, before the tests run.
void start_watchdog(unsigned limit_s);

}  // namespace test_support

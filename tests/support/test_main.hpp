// How a test program ends that its main function has ended, with a reason and stacks on standard error.
#pragma once

namespace test_support {

/// After an unhandled structured exception. Below 256, because the exit status of a program that Wine runs has eight
/// bits, and an exception code can end in zeros.
inline constexpr unsigned crash_exit_code = 97;
/// After a test, or what lies between two tests or behind the last, that took longer than it may.
inline constexpr unsigned hang_exit_code = 98;
/// After abort, with which std::terminate ends: as abort does.
inline constexpr unsigned abort_exit_code = 3;

}  // namespace test_support

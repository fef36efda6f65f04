// Makes a dying test program say where it died: unhandled structured exceptions, std::terminate and abort print a
// reason and the stack on standard error.
#pragma once

namespace test_support {

/// How a program ends after an unhandled structured exception. Below 256, because the exit status of a program that
/// Wine runs has eight bits, and an exception code can end in zeros.
inline constexpr unsigned crash_exit_code = 97;
/// How a program ends after std::terminate or abort: as abort does.
inline constexpr unsigned abort_exit_code = 3;

/// To be called once, at the start of main, from the main thread. Handled exceptions are not touched: only what nobody
/// wanted is reported. From then on there is no dialog of the system or the C run-time, which nobody would answer.
void install_fault_reports();

}  // namespace test_support

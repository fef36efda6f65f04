// How the main functions of tests and of long runs begin: a crash prints its stack, and a program that hangs is ended
// with the stacks of all threads. By other means than the library's: that is under test, and tests break it on purpose.
#pragma once

namespace test_support {

/// From the start of the program on: only what nobody wanted is reported, and no dialog of the system or the C run-time
/// is shown, which nobody would answer.
void install_fault_reports();

/// Wine 8 refuses about one launch in three thousand with ERROR_INTERNAL_ERROR: a child with a pipe as its output ends
/// before it has begun. Loops of bare system calls show it as well as every library does. From now on, the call is made
/// again where it was made, so that whoever made it sees one call. To come before any other patch of the import tables.
void retry_refused_launches();

/// From now on, ends the program when nobody tells of progress for as many seconds.
void begin_watch(int limit_s);
void tell_progress() noexcept;

}  // namespace test_support

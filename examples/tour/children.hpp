// What the tour's child processes do. The tour starts itself again with one of these names as its first argument.
#pragma once

/// The line with the number `n`, without its end, into `buffer`.
void format_line(char (&buffer)[64], unsigned long n);

/// Does what `argv[1]` names and returns the exit code; -1 if it names no child of the tour.
int run_as_child(int argc, wchar_t** argv);

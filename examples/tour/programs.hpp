// Stops of the tour that run the other examples, as child processes, and show what they print.
#pragma once

/// Puts the tour's folder in front of PATH too, so that the stops behind it find the examples by their names.
void find_programs();

void report_a_crash();
void report_a_fatal_error();
void restart_a_service();
void run_fifty_commands();
void speak_two_languages();
void show_memory();
void corrupt_the_heap();
void convert_a_file();

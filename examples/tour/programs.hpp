// Stops of the tour that run the other examples, as child processes, and show what they print.
#pragma once

void report_a_crash();
void report_a_fatal_error();
void speak_two_languages();
void show_memory();
void corrupt_the_heap();
void convert_a_file();

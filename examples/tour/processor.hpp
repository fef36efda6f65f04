// A stop of the tour that shows what the library knows of the processor, beside what others know of it.
#pragma once

/// Runs another example, which find_programs() (programs.hpp) makes to be found.
void show_processor();

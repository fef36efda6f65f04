// The arguments of the program in UTF-8, whatever the active code page is; `main` of `char` gets them in that one, with
// a question mark for each character that it lacks.
#pragma once

#include <kit/export.hpp>

#include <string>
#include <string_view>
#include <vector>

namespace foundation::kit {

/// What the process was started with, taken apart as the system's CommandLineToArgvW does: the program's name as the
/// starter wrote it, then the arguments. At least one element: a command line that is empty gives an empty name. A lone
/// surrogate becomes U+FFFD. `*` and `?` are left alone.
///
/// Any thread; each call takes the command line apart anew. Throws std::bad_alloc.
KIT_API std::vector<std::string> utf8_arguments();

/// The same for any command line in UTF-8, such as a line of a file: the program's name, then the arguments. What is
/// ill-formed becomes U+FFFD. Throws std::bad_alloc.
KIT_API std::vector<std::string> split_command_line(std::string_view line);

}  // namespace foundation::kit

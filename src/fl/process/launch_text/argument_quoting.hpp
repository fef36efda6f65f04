// The flat command line of a child, from which the parser of its run-time library gets back exactly the arguments that
// were given, but for one kind: an empty argument is lost. Pure functions, safe on any thread.
#pragma once

#include <fl/process/command.hpp>

#include <string>
#include <vector>

namespace foundation::core::process {

/// `argument` as it stands in a command line. Its `"` are escaped, with the backslashes in front of them. If it holds a
/// blank, a tab, a line end or a NUL it gets quotes around it, and the backslashes at its end are doubled. Linear in
/// time; works in the storage of `argument`, which grows once at most.
std::string quote_argument(std::string argument);

/// How one argument is quoted: `quote_argument`, or a function that does more with the result.
using argument_quoter = std::string (*)(std::string);

/// Each argument, quoted, with one blank behind it. The blank at the end belongs to it.
std::string join_arguments(const std::vector<std::string>& arguments, argument_quoter quote = &quote_argument);

/// The name, quoted; if there are arguments, one blank and `join_arguments` of them.
std::string join_command_line(const command& value, argument_quoter quote = &quote_argument);

}  // namespace foundation::core::process

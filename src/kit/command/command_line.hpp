// How the system's CommandLineToArgvW takes a command line apart. Done here because that one lives in a library that
// most programs do without, which takes longer to load than all their arguments to read.
#pragma once

#include <i18n/ustring.hpp>

#include <string_view>
#include <vector>

namespace foundation::kit {

/// The program's name, which is there in any case and may be empty, and the arguments.
///
/// The name ends at the next quote if it begins with one, and else at a blank or a tab; nothing in it is escaped. An
/// argument ends at a blank or a tab outside of quotes. Backslashes mean something in front of a quote alone: each two
/// stand for one, and an odd one makes the quote an ordinary character. Of the quotes that open or close, counted from
/// the opening one, the third in a row is an ordinary one, too, behind which the text is outside.
std::vector<fl::ustring> split_command_line(std::u16string_view line);

}  // namespace foundation::kit

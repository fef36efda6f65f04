// Batch files as programs. The system lets its command interpreter run them, which splits the command line once
// more: characters that are plain text in an argument can begin another command there. No quoting of ours keeps them
// from that in every case, percent signs in no case at all, so they are refused. Pure functions, safe on any thread.
#pragma once

#include <fl/process/command.hpp>

#include <string_view>

namespace foundation::core::process {

/// Whether the system would have `program` run by the command interpreter: the extension is .bat or .cmd, in any case,
/// with any dots and blanks behind it, which the system removes.
bool is_batch_file(std::string_view program);

/// Throws std::invalid_argument, naming the text, if `value` runs a batch file whose name or one of whose arguments
/// holds a quote, one of % ! ^ & | < >, or a control character other than a tab; or if its name has no blank, and holds
/// one of , ; = or begins with @ or a bracket.
void refuse_unsafe_batch_file(const command& value);

/// The same whatever the name is.
void refuse_what_is_unsafe_in_a_batch_file(const command& value);

}  // namespace foundation::core::process

// A command as one can paste it into a shell: for a message ("to see for yourself, run …"), a log or a script. The
// program then gets the arguments that it would get from a launch, taken apart as the C run-time does.
//
//   kit::for_cmd(make_command("C:\\tools\\grep.exe", "a b", "100%"))         "C:\tools\grep.exe" "a b" ^"100^%^"
//   kit::for_powershell(make_command("C:\\tools\\grep.exe", "it's"))         & 'C:\tools\grep.exe' 'it''s'
//
// The program is looked up as the shell does, by the name as it stands: a shell may know a command of its own, an alias
// or a function under a name without a folder.
//
// What a shell cannot be told is refused with std::invalid_argument, which says which argument it is (the program's
// name is "the name", arguments count from 1) and why: an empty name, a NUL, for a batch file (.bat, .cmd) what
// fl/process/command.hpp says that a launch refuses, and what is said below.
//
// Thread safety: pure functions.
#pragma once

#include <fl/process/command.hpp>

#include <kit/export.hpp>

#include <string>

namespace foundation::kit {

namespace process = foundation::core::process;

/// For the prompt of cmd.exe, and for `cmd /s /c "…"` with the text between these quotes; in a batch file each percent
/// sign would have to stand twice. A percent sign or a quote in an argument makes of it a form in which all that is
/// special stands behind a ^, so that no variable is put in place of %PATH%; unless somebody has named one "^PATH".
/// Exclamation marks are ordinary, which is so unless the prompt was started with delayed expansion (/v:on).
///
/// The name stands in quotes, which also keeps cmd from taking it for a command of its own.
///
/// Refused besides: control characters, in a name also quotes and percent signs, and what makes more than the 8,191
/// UTF-16 units that cmd takes. Throws std::invalid_argument and std::bad_alloc.
KIT_API std::string for_cmd(const process::command& value);

/// One line for the prompt or a script of Windows PowerShell 5 and of PowerShell 7. Before 7.3 these lost quotes within
/// arguments, and empty arguments, unless they were written in a way that is wrong since. All lose an argument "--%".
/// If there are any, the text is a block that asks for the old way, which the older versions do in any case:
///
///   & { $PSNativeCommandArgumentPassing = 'Legacy'; & 'grep' '"say \"hi\""' }
///
/// Control characters are written by their numbers, as in ('one line' + [char]10 + 'another').
/// Throws std::invalid_argument and std::bad_alloc.
KIT_API std::string for_powershell(const process::command& value);

}  // namespace foundation::kit

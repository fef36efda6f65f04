// What a bare command name stands for: the program file that it would run. Implemented in
// src/fl/process/windows/lookup/which_impl.cpp.
//
//   if (const auto program = which("cmd"))
//     process child(command(*program));
//
// A file counts as a command only if the extension of its name is one of these eleven, in any case, whatever PATHEXT
// says: .COM .EXE .BAT .CMD .VBS .VBE .JS .JSE .WSF .WSH .MSC. Directories never do. Whether it may be executed is not
// asked, and the system may refuse to start some of the eleven without their interpreter. What is found may be a batch
// file, to which not every argument can be passed (see <fl/process/command.hpp>).
//
// Where it is looked for, in this order, the first hit being the answer:
// 1. the name as it stands, absolute or relative to the current directory;
// 2. the name in each directory of PATH. An empty entry of PATH is the current directory, and entries are read
//    literally, quotes and blanks included;
// 3. for each extension of PATHEXT in turn, the name with the extension behind it, as in 1 and 2, even if the name has
//    an extension already.
//
// PATH is read at each lookup, and split only when it has changed. PATHEXT is read at the first lookup of the
// process and then kept; without it no extension is tried. Both are those of the C run-time (`_wgetenv`), which a
// change by `_putenv` reaches, but not one by the system's SetEnvironmentVariable alone.
//
// Text is UTF-8, as everywhere in the process interface; `command` accepts what is found as it is. A name that is
// not valid UTF-8 is read in the active code page.
//
// The channel "fl::process::which" of the log shows every step of a search.
#pragma once

#include <fl/export.hpp>

#include <boost/optional/optional.hpp>

#include <string>

namespace foundation::core::process {

/// The file that `command_name` stands for, or empty if there is none, which is no error. What stands under the name
/// itself comes back as `command_name`, unchanged; a hit in PATH has its directory in front.
///
/// Throws boost::filesystem::filesystem_error if the system does not let a candidate be looked at, for instance behind
/// a directory that is closed to this user. Any number of threads may look up at once; as with every use of the
/// environment, nobody may change PATH meanwhile.
FL_API boost::optional<std::string> which(const std::string& command_name);

}  // namespace foundation::core::process

// The environment of this process, read in a way that other threads cannot disturb.
//
// Reads the system's environment block, not the C runtime's copy of it: a change made through the system alone is seen.
// Deliberately not here: changing the environment, and any opinion on the entries (duplicates, order, odd names).
#pragma once

#include <safe_env/export.hpp>

#include <string>
#include <vector>

namespace safe_env {

/// A snapshot of the process environment: entries `NAME=VALUE` in UTF-8, in the system's order. Entries whose name
/// begins with an equals sign, such as `=C:=C:\dir` for the current directory of a drive, are included as they stand. A
/// lone surrogate becomes U+FFFD.
///
/// May be called in several threads at once and while others change the environment: the snapshot is one state that the
/// environment had.
///
/// Throws `boost::system::system_error` with the code of the system if the system gives no environment.
SAFE_ENV_API std::vector<std::string> get_environment_copy();

}  // namespace safe_env

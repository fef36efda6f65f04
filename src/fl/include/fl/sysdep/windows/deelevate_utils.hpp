// Elevation: whether a token has it, tokens without it for the child of an elevated process, and privileges. The system
// has no call that takes elevation away; what comes nearest is the token of the user's own shell, explorer.exe, and
// after that a restricted token of medium integrity. Implemented in src/fl/process/windows/token, what asks the shell
// in deelevate_utils_explorer.cpp.
//
// Nothing here keeps state; any thread may call anything. Tokens are system handles; the caller closes those that are
// returned. Failures throw boost::system::system_error with the system's code.
#pragma once

#include <fl/export.hpp>

namespace foundation::core::sysdep::windows {

/// Whether the token of the user's shell holds the privilege "SeAssignPrimaryTokenPrivilege", enabled or not.
enum ReplaceTokenRight {
  ReplaceTokenUnknown = -1,  ///< there is no such shell, or it could not be asked
  ReplaceTokenAbsent = 0,    ///< it does not
  ReplaceTokenPresent = 1    ///< it does
};

/// 1 if `token` (borrowed) is elevated, else 0; a null token means this process.
/// Throws if the token cannot be opened or read.
FL_API int IsTokenElevated(void* token);

/// 1 if the system asks before it gives elevation (user account control), 0 if that is switched off, -1 if it could not
/// be read. Never throws.
FL_API int IsUacEnabled();

/// The id of the first explorer.exe in the system's list of processes that runs as the user of this process; 0 if there
/// is none, or if the list or this process's own token cannot be read. Throws nothing but std::bad_alloc.
FL_API unsigned long GetExplorerProcessId();

/// See ReplaceTokenRight. Throws nothing but std::bad_alloc.
FL_API ReplaceTokenRight CheckReplaceTokenPrivilege();

/// A primary token like that of the user's explorer.exe; null if there is none. Whether it is elevated is not asked.
/// Throws if the explorer's token cannot be opened or duplicated.
FL_API void* GetNonElevatedToken();

/// A new primary token: this process's own, restricted to what normal users may do, with medium integrity. Throws if
/// the system refuses any of that.
FL_API void* GetMediumIntegrityToken();

/// Enables the privilege of that name, such as "SeBackupPrivilege", in this process, until it ends or somebody disables
/// it. Throws if this process does not hold the privilege.
FL_API void EnablePrivilege(const char* name);

}  // namespace foundation::core::sysdep::windows

#include "process/windows/token/non_elevated_token.hpp"

#include <fl/sysdep/windows/deelevate_utils.hpp>

#include "common/windows/handle_closer.hpp"
#include "process/windows/last_error.hpp"

#include <boost/system/system_error.hpp>

#include <windows.h>

namespace foundation::core::sysdep::windows {

namespace {

// Null if there is no shell, if its token is elevated, or if the system refuses: then there is another way.
HANDLE usable_shell_token() {
  HANDLE token = nullptr;
  HandleCloser<HANDLE> closer(token);
  try {
    token = GetNonElevatedToken();
    const bool usable = token && IsTokenElevated(token) == 0;
    // A token that turns out to be elevated is abandoned, not closed: that is how this choice is defined. It costs a
    // handle, where user account control is on and the shell runs elevated all the same.
    closer.mode = CloseOnDestruction::leave;
    return usable ? token : nullptr;
  } catch (const boost::system::system_error&) {
    return nullptr;
  }
}

HANDLE medium_integrity_token() {
  HANDLE token = GetMediumIntegrityToken();
  HandleCloser<HANDLE> closer(token);
  if (!token || IsTokenElevated(token) != 0) {
    throw_last_error(ERROR_INVALID_TOKEN, "Cannot obtain a non-elevated token");
  }
  closer.mode = CloseOnDestruction::leave;
  return token;
}

}  // namespace

void* token_without_elevation() {
  // Both are asked in any case, so that the log shows both.
  const int uac = IsUacEnabled();
  const ReplaceTokenRight right = CheckReplaceTokenPrivilege();
  if (uac == 1 && right == ReplaceTokenPresent) {
    if (const HANDLE token = usable_shell_token()) {
      return token;
    }
  }
  return medium_integrity_token();
}

}  // namespace foundation::core::sysdep::windows

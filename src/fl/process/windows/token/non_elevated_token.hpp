// The choice of a token for the child of an elevated process that is to run without elevation.
#pragma once

namespace foundation::core::sysdep::windows {

/// A primary token without elevation, which the caller closes: that of the user's shell where user account control is
/// on and the shell's token may take the place of another, else one of medium integrity. Asks the system anew each
/// time. Throws boost::system::system_error if no such token is to be had.
void* token_without_elevation();

}  // namespace foundation::core::sysdep::windows

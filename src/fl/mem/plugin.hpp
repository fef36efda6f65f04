// The observation plug-in, a library of its own that is looked for only when the feature is asked for. Implemented in
// windows/plugin.cpp.
#pragma once

namespace foundation::core::sysdep::windows {

/// Loads libqxtools_mobservation.dll from the folder of this library, and calls it with `enabled`. Returns its answer,
/// not 0 if allocations are now observed; 0 if it cannot be loaded or is no such plug-in. It is never unloaded. What
/// happens is noted in the log.
int load_and_run_plugin(bool enabled);

}  // namespace foundation::core::sysdep::windows

// The observation plug-in, a library of its own that is looked for only when the feature is asked for.
#pragma once

namespace foundation::core::sysdep::windows {

/// Loads libqxtools_mobservation.dll from where the system looks for libraries, and tells it `enabled`. Returns what it
/// answers, not 0 if allocations are now observed; 0 if it cannot be loaded or is no such plug-in. It is never
/// unloaded. What happens is noted in the log.
int load_and_run_plugin(bool enabled);

}  // namespace foundation::core::sysdep::windows

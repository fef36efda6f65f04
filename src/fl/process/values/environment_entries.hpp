// From what a snapshot of an environment gives to the map that a context has. A pure function, safe on any thread.
// Names are not checked.
#pragma once

#include <fl/process/environment_map.hpp>

#include <string>
#include <vector>

namespace foundation::core::process {

/// From entries `NAME=VALUE`, split at the first "="; without one the whole entry is the name. Where a name comes again
/// the earlier entry stays.
environment_map environment_from_entries(std::vector<std::string> entries);

}  // namespace foundation::core::process

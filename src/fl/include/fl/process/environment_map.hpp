// The environment of a child, as a plain value. One object belongs to one thread at a time; concurrent reads are safe.
#pragma once

#include <fl/util/lexicographical_iless.hpp>

#include <map>
#include <string>

namespace foundation::core::process {

/// Values by the names of their variables, both in UTF-8. Names that differ only in case are one variable.
using environment_map = std::map<std::string, std::string, util::lexicographical_iless>;

}  // namespace foundation::core::process

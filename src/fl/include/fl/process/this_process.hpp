// Questions about the running process. No shared state: any thread, at any time.
#pragma once

#include <fl/export.hpp>
#include <fl/util/ustring.hpp>

namespace foundation::core::process::this_process {

/// The id of this process.
FL_API long long id();

/// Bytes that this process now holds in memory. Throws boost::system::system_error.
FL_API unsigned long long working_set_size();

/// The full path of this process's executable, of at most 8,191 units.
/// Throws boost::system::system_error if the system does not give it or it is longer.
FL_API ustring absolute_path();

}  // namespace foundation::core::process::this_process

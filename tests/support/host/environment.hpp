// The environment that the library sees in the native build, which has no Windows environment to read.
#pragma once

#include <string>
#include <vector>

namespace test_support {

/// The entries that `safe_env::get_environment_copy` gives from now on; none at first. Not for use on several threads.
std::vector<std::string>& host_environment();

}  // namespace test_support

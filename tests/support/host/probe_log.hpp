// What the logic of processor information complains about.
#pragma once

#include <string>
#include <vector>

namespace test_support {

/// The complaints since this was last called, in their order.
std::vector<std::string> drain_complaints();

}  // namespace test_support

// The value of QX_LOG: which levels the channels have from the start. Pure.
#pragma once

#include "level_rules.hpp"

#include <string>
#include <string_view>
#include <vector>

namespace foundation::log {

struct environment_rules {
  level_rules rules;                    ///< In the order of the text.
  std::vector<std::string> complaints;  ///< One line for each pair that was left out: which, why, what is expected.
};

/// Reads pairs `channel-pattern=level` separated by ";". Blanks around a pattern are skipped, and so are empty pairs.
/// Throws only `std::bad_alloc`.
environment_rules parse_environment_rules(std::string_view text);

}  // namespace foundation::log

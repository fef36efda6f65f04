// The value of QX_LOG: which levels the channels have from the start. Pure.
#pragma once

#include <string>
#include <string_view>
#include <vector>

namespace foundation::log {

/// Gives the loggers whose channel matches a level.
struct level_rule {
  std::string pattern;
  unsigned word;
};

struct environment_rules {
  std::vector<level_rule> rules;        ///< In the order of the text.
  std::vector<std::string> complaints;  ///< One line for each pair that was left out: which, why, what is expected.
};

/// Reads pairs `channel-pattern=level` separated by ";". Blanks around a pattern are skipped, and so are empty pairs.
/// Throws only `std::bad_alloc`.
environment_rules parse_environment_rules(std::string_view text);

/// The level word of a channel: that of the last rule that matches, or `default_level`.
unsigned level_of(const std::vector<level_rule>& rules, std::string_view channel) noexcept;

}  // namespace foundation::log

// Which level the channels have, by rules of which the last that matches counts.

#include "level_rules.hpp"

#include <foundation_log/level.hpp>

#include "pattern.hpp"

namespace foundation::log {

void level_rules::set(std::string_view pattern, unsigned word) {
  if (const auto known = places_.find(pattern); known != places_.end()) {
    rules_.splice(rules_.end(), rules_, known->second);
  } else {
    std::list<rule> added;
    added.push_back({std::string(pattern), word});
    places_.emplace(added.back().pattern, added.begin());
    rules_.splice(rules_.end(), added);
  }
  rules_.back().word = word;
}

unsigned level_rules::level_of(std::string_view channel) const noexcept {
  for (auto last = rules_.rbegin(); last != rules_.rend(); ++last) {
    if (matches(last->pattern, channel)) {
      return last->word;
    }
  }
  return default_level;
}

}  // namespace foundation::log

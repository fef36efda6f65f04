// Which level the channels have, by rules of which the last that matches counts.
//
// Thread safety: one thread at a time.
#pragma once

#include <list>
#include <string>
#include <string_view>
#include <unordered_map>

namespace foundation::log {

/// Setting a level takes the same time however many rules there are; programs may do so for ever.
class level_rules {
 public:
  level_rules() = default;
  level_rules(level_rules&&) noexcept = default;
  level_rules& operator=(level_rules&&) noexcept = default;

  /// Gives the loggers whose channel matches a level: the last rule from now on, in place of one with the same pattern.
  /// Throws `std::bad_alloc`; then nothing has changed.
  void set(std::string_view pattern, unsigned word);

  /// The level word of a channel: that of the last rule that matches, or `default_level`.
  unsigned level_of(std::string_view channel) const noexcept;

 private:
  struct rule {
    std::string pattern;
    unsigned word;
  };

  std::list<rule> rules_;                                                   ///< the last match counts
  std::unordered_map<std::string_view, std::list<rule>::iterator> places_;  ///< of all rules, by their own patterns
};

}  // namespace foundation::log

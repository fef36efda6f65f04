// All living loggers, the rules for their levels and the switch for all of them.

#include "registry.hpp"

#include "pattern.hpp"
#include "platform.hpp"

#include <algorithm>
#include <string>

namespace foundation::log::detail {

registry& registry::get() {
  static registry* const instance = new registry;
  return *instance;
}

void registry::assign(logger& entry, unsigned word) const noexcept {
  const unsigned kept = word & level_word_mask;
  entry.word_.store(kept, std::memory_order_relaxed);
  entry.effective_.store(enabled() ? kept & severity_mask : 0, std::memory_order_relaxed);
}

void registry::add(logger& entry) {
  const platform::ending_aware_lock hold(mutex_);
  if (!hold) {
    return;
  }
  loggers_.push_back(&entry);
  if (configured_) {
    assign(entry, level_of(rules_, entry.channel()));
  }
}

void registry::remove(logger& entry) noexcept {
  const platform::ending_aware_lock hold(mutex_);
  if (!hold) {
    return;
  }
  loggers_.erase(std::remove(loggers_.begin(), loggers_.end(), &entry), loggers_.end());
}

void registry::read_environment() {
  auto parsed = parse_environment_rules(platform::environment_variable("QX_LOG").value_or(""));
  std::string complaints;
  for (const auto& line : parsed.complaints) {
    complaints += line + "\n";
  }
  // Nothing throws from here on, so that nothing is said twice.
  rules_ = std::move(parsed.rules);
  configured_ = true;
  for (logger* entry : loggers_) {
    assign(*entry, level_of(rules_, entry->channel()));
  }
  if (!complaints.empty()) {
    platform::write_standard_error(complaints);
  }
}

void registry::configure() noexcept {
  const platform::error_keeper keep;
  try {
    const platform::ending_aware_lock hold(mutex_);
    if (hold && !configured_) {
      read_environment();
    }
  } catch (...) {
    // Without memory: the loggers stay as they are, silent.
  }
}

void registry::set_level(logger& entry, unsigned word) noexcept {
  configure();
  const platform::ending_aware_lock hold(mutex_);
  if (hold) {
    assign(entry, word);
  }
}

std::size_t registry::set_level(std::string_view pattern, unsigned word) {
  configure();
  level_rule rule{std::string(pattern), word & level_word_mask};
  const platform::ending_aware_lock hold(mutex_);
  if (!hold) {
    return 0;
  }
  rules_.reserve(rules_.size() + 1);
  // The same pattern again replaces the rule, so that a program may set levels for ever.
  rules_.erase(std::remove_if(rules_.begin(), rules_.end(), [&](const auto& old) { return old.pattern == pattern; }),
               rules_.end());
  rules_.push_back(std::move(rule));
  std::size_t count = 0;
  for (logger* entry : loggers_) {
    if (!matches(pattern, entry->channel())) {
      continue;
    }
    assign(*entry, word);
    ++count;
  }
  return count;
}

std::vector<channel_level> registry::list(std::string_view pattern) {
  configure();
  std::vector<channel_level> found;
  const platform::ending_aware_lock hold(mutex_);
  if (!hold) {
    return found;
  }
  for (const logger* entry : loggers_) {
    if (matches(pattern, entry->channel())) {
      found.push_back({entry->channel(), entry->word_.load(std::memory_order_relaxed)});
    }
  }
  return found;
}

void registry::enable(bool on) noexcept {
  configure();
  const platform::ending_aware_lock hold(mutex_);
  if (!hold) {
    return;
  }
  enabled_.store(on, std::memory_order_relaxed);
  for (logger* entry : loggers_) {
    assign(*entry, entry->word_.load(std::memory_order_relaxed));
  }
}

}  // namespace foundation::log::detail

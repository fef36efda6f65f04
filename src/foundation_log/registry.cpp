// All living loggers, the rules for their levels and the switch for all of them.

#include "registry.hpp"

#include "environment_rules.hpp"
#include "pattern.hpp"
#include "platform.hpp"

#include <map>
#include <string>
#include <utility>

namespace foundation::log::detail {

registry& registry::get() {
  static registry* const instance = [] {
    platform::stay_loaded();  // Each load would make another one.
    return new registry;
  }();
  return *instance;
}

void registry::assign(logger& entry, unsigned word) const noexcept {
  const unsigned kept = word & level_word_mask;
  entry.word_.store(kept, std::memory_order_relaxed);
  entry.effective_.store(enabled() ? kept & severity_mask : 0, std::memory_order_relaxed);
}

/// Without memory for the environment's rules, a call may have given one logger its level and left the others.
bool registry::is_unassigned(const logger& entry) noexcept {
  return (entry.effective_.load(std::memory_order_relaxed) & logger::not_configured) != 0;
}

void registry::add(logger& entry) {
  const platform::ending_aware_lock hold(mutex_);
  if (!hold) {
    return;
  }
  loggers_.emplace(&entry, created_++);
  if (configured_) {
    assign(entry, rules_.level_of(entry.channel()));
  }
}

void registry::remove(logger& entry) noexcept {
  const platform::ending_aware_lock hold(mutex_);
  if (!hold) {
    return;
  }
  loggers_.erase(&entry);
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
  for (const auto& [entry, number] : loggers_) {
    if (is_unassigned(*entry)) {
      assign(*entry, rules_.level_of(entry->channel()));
    }
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
  const platform::ending_aware_lock hold(mutex_);
  if (!hold) {
    return 0;
  }
  if (!configured_) {
    read_environment();  // Before the rule: it would replace that.
  }
  rules_.set(pattern, word & level_word_mask);
  std::size_t count = 0;
  for (const auto& [entry, number] : loggers_) {
    if (!matches(pattern, entry->channel())) {
      continue;
    }
    assign(*entry, word);
    ++count;
  }
  return count;
}

std::vector<channel_level> registry::list(std::string_view pattern) {
  std::map<std::uint64_t, channel_level> found;  // in the order of creation
  const platform::ending_aware_lock hold(mutex_);
  if (!hold) {
    return {};
  }
  if (!configured_) {
    read_environment();
  }
  for (const auto& [entry, number] : loggers_) {
    if (matches(pattern, entry->channel())) {
      found[number] = {entry->channel(), entry->word_.load(std::memory_order_relaxed)};
    }
  }
  std::vector<channel_level> listed;
  for (auto& [number, level] : found) {
    listed.push_back(std::move(level));
  }
  return listed;
}

void registry::enable(bool on) noexcept {
  configure();
  const platform::ending_aware_lock hold(mutex_);
  if (!hold) {
    return;
  }
  enabled_.store(on, std::memory_order_relaxed);
  for (const auto& [entry, number] : loggers_) {
    if (!is_unassigned(*entry)) {
      assign(*entry, entry->word_.load(std::memory_order_relaxed));
    }
  }
}

}  // namespace foundation::log::detail

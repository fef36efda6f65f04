// The value of QX_LOG. Pure.

#include "environment_rules.hpp"

#include <foundation_log/level.hpp>

#include "text.hpp"

#include <stdexcept>

namespace foundation::log {

namespace {

/// Adds what the pair says.
void parse_pair(std::string_view pair, level_rules& rules) {
  const auto sign = pair.find('=');
  if (sign == std::string_view::npos) {
    throw std::invalid_argument("\"=\" is missing");
  }
  const auto pattern = trimmed(pair.substr(0, sign));
  if (pattern.empty()) {
    throw std::invalid_argument("the channel pattern is empty");
  }
  rules.set(pattern, parse_level(pair.substr(sign + 1)));
}

std::string complaint(std::string_view pair, const char* why) {
  return "QX_LOG: \"" + std::string(pair) + "\" is left out: " + why +
         " (expected channel-pattern=level, such as fl::process::*=note+error:fatal)";
}

}  // namespace

environment_rules parse_environment_rules(std::string_view text) {
  environment_rules parsed;
  while (!text.empty()) {
    const auto end = text.find(';');
    const auto pair = trimmed(text.substr(0, end));
    text.remove_prefix(end == std::string_view::npos ? text.size() : end + 1);
    if (pair.empty()) {
      continue;
    }
    try {
      parse_pair(pair, parsed.rules);
    } catch (const std::invalid_argument& error) {
      parsed.complaints.push_back(complaint(pair, error.what()));
    }
  }
  return parsed;
}

}  // namespace foundation::log

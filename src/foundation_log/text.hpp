// Small helpers for reading settings. Pure.
#pragma once

#include <string_view>

namespace foundation::log {

/// The text without blanks and tabs at its ends.
inline std::string_view trimmed(std::string_view text) noexcept {
  const auto first = text.find_first_not_of(" \t");
  if (first == std::string_view::npos) {
    return {};
  }
  return text.substr(first, text.find_last_not_of(" \t") - first + 1);
}

}  // namespace foundation::log

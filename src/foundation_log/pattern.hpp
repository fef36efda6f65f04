// Matching of channel names. Pure.
#pragma once

#include <string_view>

namespace foundation::log {

/// Whether the whole name matches the pattern: "*" is any run of characters, every other character is itself. Takes
/// time in proportion to the product of the lengths at worst.
bool matches(std::string_view pattern, std::string_view name) noexcept;

}  // namespace foundation::log

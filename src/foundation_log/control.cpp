#include <foundation_log/control.hpp>

#include "registry.hpp"

namespace foundation::log {

std::size_t set_level(std::string_view pattern, unsigned word) {
  return detail::registry::get().set_level(pattern, word);
}

std::vector<channel_level> channels(std::string_view pattern) {
  return detail::registry::get().list(pattern);
}

void enable_logging(bool on) noexcept {
  detail::registry::get().enable(on);
}

bool logging_enabled() noexcept {
  return detail::registry::get().enabled();
}

}  // namespace foundation::log

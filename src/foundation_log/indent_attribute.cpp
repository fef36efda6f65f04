#include <foundation_log/indent_attribute.hpp>

#include "platform.hpp"

namespace foundation::log::detail {

void indent_attribute::increase() noexcept {
  platform::set_thread_depth(platform::thread_depth() + 1);
}

void indent_attribute::decrease() noexcept {
  if (const unsigned depth = platform::thread_depth(); depth > 0) {
    platform::set_thread_depth(depth - 1);
  }
}

unsigned indent_attribute::current() noexcept {
  return platform::thread_depth();
}

}  // namespace foundation::log::detail

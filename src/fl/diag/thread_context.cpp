// Whether there is a state, and from where. What a state is, is the platform's matter.
#include <fl/diag/thread_context.hpp>

#include "diag/report/report_line.hpp"

namespace foundation::core::diag {

bad_thread_context::bad_thread_context(const std::string& text) : std::invalid_argument(text) {}
bad_thread_context::bad_thread_context(const bad_thread_context&) noexcept = default;
bad_thread_context::bad_thread_context(bad_thread_context&&) noexcept = default;
bad_thread_context& bad_thread_context::operator=(const bad_thread_context&) noexcept = default;
bad_thread_context& bad_thread_context::operator=(bad_thread_context&&) noexcept = default;
bad_thread_context::~bad_thread_context() = default;

// The functions that capture are never inlined: each must have the return address of its caller. The state within them
// would be of no use, since their frames are gone before anybody can look at them.

[[gnu::noinline]] thread_context::thread_context(bool capture) noexcept
    : valid_(capture && capture_data(__builtin_return_address(0))) {}

thread_context::thread_context(const _EXCEPTION_POINTERS* pointers) noexcept
    : valid_(pointers != nullptr && set_data(pointers)) {}

thread_context::thread_context(const void* pointers) noexcept
    : thread_context(static_cast<const _EXCEPTION_POINTERS*>(pointers)) {}

[[gnu::noinline]] void thread_context::capture() noexcept {
  valid_ = capture_data(__builtin_return_address(0));
}

void thread_context::reset(const _EXCEPTION_POINTERS* pointers) noexcept {
  valid_ = pointers != nullptr && set_data(pointers);
}

bool thread_context::compare(const thread_context& other) const noexcept {
  return valid_ == other.valid_ && (!valid_ || compare_data(other));
}

std::ostream& thread_context::format(std::ostream& os) const {
  if (valid_) {
    return format_data(os);
  }
  write(os, "(empty)\n");
  return os;
}

void thread_context::unspecified_bool() const {}

}  // namespace foundation::core::diag

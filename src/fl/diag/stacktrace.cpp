// What stacks are without a system: construction, comparison, exchange.
#include <fl/diag/stacktrace.hpp>

namespace foundation::core::diag {

stacktrace_base::stacktrace_base(std::size_t capacity, std::size_t size) noexcept
    : capacity_(capacity), end_(begin() + size) {}

stacktrace_base::stacktrace_base(std::size_t capacity, std::size_t skip, bool capture) noexcept
    : stacktrace_base(capacity, 0) {
  if (capture) {
    this->capture(skip);
  }
}

stacktrace_base::stacktrace_base(const thread_context& context, std::size_t capacity, std::size_t skip)
    : stacktrace_base(capacity, 0) {
  capture(context, skip);
}

bool stacktrace_base::compare_top(const stacktrace_base& other) const noexcept {
  return compare_top_n(std::min(size(), other.size()), other);
}

bool stacktrace_base::compare_top_n(std::size_t n, const stacktrace_base& other) const noexcept {
  if (size() < n || other.size() < n) {
    return std::equal(begin(), end(), other.begin(), other.end());
  }
  return std::equal(begin(), begin() + n, other.begin());
}

bool stacktrace_base::compare_bottom(const stacktrace_base& other) const noexcept {
  return compare_bottom_n(std::min(size(), other.size()), other);
}

bool stacktrace_base::compare_bottom_n(std::size_t n, const stacktrace_base& other) const noexcept {
  if (size() < n || other.size() < n) {
    return std::equal(begin(), end(), other.begin(), other.end());
  }
  return std::equal(end() - n, end(), other.end() - n);
}

void swap(stacktrace_base& a, stacktrace_base& b) noexcept {
  const std::size_t a_size = a.size();
  const std::size_t b_size = b.size();
  const std::size_t exchanged = std::min({std::max(a_size, b_size), a.max_size(), b.max_size()});
  std::swap_ranges(a.begin(), a.begin() + exchanged, b.begin());
  a.resize(std::min(exchanged, b_size));
  b.resize(std::min(exchanged, a_size));
}

}  // namespace foundation::core::diag

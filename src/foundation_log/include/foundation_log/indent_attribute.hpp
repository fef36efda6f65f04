// The indent of scope traces. Thread safety: any thread; the indent belongs to the calling thread.
#pragma once

#include <foundation_log/export.hpp>

namespace foundation::log::detail {

/// How deep the calling thread stands in active scope traces. Records are indented by two blanks a level.
struct indent_attribute {
  FOUNDATION_LOG_API static void increase() noexcept;
  /// Does nothing at depth 0.
  FOUNDATION_LOG_API static void decrease() noexcept;
  FOUNDATION_LOG_API static unsigned current() noexcept;
};

}  // namespace foundation::log::detail

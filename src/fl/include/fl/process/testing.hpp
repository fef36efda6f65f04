// Hooks for the tests of programs that start children.
#pragma once

#include <fl/export.hpp>

#include <cstdint>

namespace foundation::core::process {

/// Selects a quality of service where a platform has more than one; on Windows it selects nothing, but a new value
/// makes the library start with a fresh record of the children it waits for.
enum class implementation_qos : std::uint32_t {};

namespace testing {

/// Blocks until no child is waited for in the background any more: every future of exit_status_async is ready and every
/// detached child has ended. A continuation of such a future does not wait for itself, nor for another one that waits
/// here. Returns true. Any thread.
FL_API bool join_all_async_procs() noexcept;

/// Asks for `value`. Where it differs from the value in force, the next background wait starts afresh: the children
/// that were waited for go on, and their futures break (boost::broken_promise). Any thread.
FL_API void set_implementation_qos(implementation_qos value);

/// Always 2 on Windows. Applies a change that was asked for.
FL_API implementation_qos get_implementation_qos();

}  // namespace testing

}  // namespace foundation::core::process

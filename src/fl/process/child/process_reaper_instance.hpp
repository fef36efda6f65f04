// The one reaper of this library instance, made at first use.
#pragma once

#include <fl/process/testing.hpp>

#include "process/child/process_reaper.hpp"

#include <memory>

namespace foundation::core::sysdep::windows {

/// The reaper in force. Where another quality of service was asked for, a new one takes its place here: the call that
/// makes it gives up the waits of the former one before it returns. Any thread.
std::shared_ptr<process_reaper> process_reaper_instance();

/// Asks for another quality of service, from the next process_reaper_instance on. Any thread.
void request_implementation_qos(process::implementation_qos value) noexcept;

}  // namespace foundation::core::sysdep::windows

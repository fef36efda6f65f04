// The way of a record through Boost.Log to the standard error stream or the log file. The only user of Boost.Log.
//
// Thread safety: may be called from every thread.
#pragma once

#include <string>

namespace foundation::log {

/// Writes one record. At the first call in the process opens the file that QX_LOG_FILE names. Returns false if the core
/// of Boost.Log accepts no record. Throws `std::bad_alloc` and what other sinks of the core throw.
bool push_record(const std::string& channel, unsigned severity, const std::string& text);

/// Whether the core of Boost.Log accepts records.
bool core_enabled() noexcept;

}  // namespace foundation::log

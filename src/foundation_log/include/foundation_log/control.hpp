// Control of all loggers of the process at run time: by name pattern, and all at once.
//
// A pattern is matched against the whole channel name, by exact characters; "*" stands for any run of characters, an
// empty one included. Among the patterns that match a channel the one given last counts. `QX_LOG` comes before all
// calls.
//
// Thread safety: every function may be called from every thread. A record that another thread writes at the same time
// may still go by the old level.
#pragma once

#include <foundation_log/export.hpp>
#include <foundation_log/level.hpp>

#include <cstddef>
#include <string>
#include <string_view>
#include <vector>

namespace foundation::log {

/// One living logger, as listed.
struct channel_level {
  std::string channel;  ///< its name
  unsigned level;       ///< The level word.
};

/// Sets the level word of the loggers whose channel matches, now and when they are created later. Returns how many
/// match now. Throws `std::bad_alloc`; then nothing has changed.
FOUNDATION_LOG_API std::size_t set_level(std::string_view pattern, unsigned word);

/// The living loggers whose channel matches, in the order of their creation. Several may share a channel.
FOUNDATION_LOG_API std::vector<channel_level> channels(std::string_view pattern = "*");

/// Switches all logging of the process off or on again; it is on at first. Levels stay as they are, and are read as
/// they are, but while logging is off no record is enabled.
FOUNDATION_LOG_API void enable_logging(bool on) noexcept;

/// Whether logging is switched on.
FOUNDATION_LOG_API bool logging_enabled() noexcept;

}  // namespace foundation::log

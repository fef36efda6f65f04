// How the words of the option string (option_string.hpp) become features, and what the start-up log says of it. Pure.
#pragma once

#include "mem/feature_set.hpp"

#include <boost/format/format_fwd.hpp>

#include <iosfwd>
#include <map>
#include <string>

namespace foundation::core::mem::detail {

/// By its word, what an option sets: all features for a profile, else one.
using option_table = std::map<std::string, feature_set>;

option_table make_option_table();

/// Appends a line to the start-up log.
void log_startup(std::ostream& startup_log, const boost::format& text);

/// All six features as `options` asks for them, beginning from the release profile. What cannot be followed is left out
/// and logged.
feature_set requested_features(const std::string& options, std::ostream& startup_log);

/// Logs every feature that is in force otherwise than it was requested, or than the release profile has it. Both sets
/// have all six.
void report_features(const feature_set& features, const feature_set& requested, std::ostream& startup_log);

}  // namespace foundation::core::mem::detail

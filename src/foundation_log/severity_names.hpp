// The names of the severities, for reading level words and for writing records. Pure.
#pragma once

#include <foundation_log/level.hpp>

namespace foundation::log {

struct severity_name {
  unsigned flag;
  std::string_view name;
};

inline constexpr severity_name severity_names[] = {
    {severity::arguments, "arguments"},
    {severity::note, "note"},
    {severity::summary, "summary"},
    {severity::complaint, "complaint"},
    {severity::scope_entry, "scope_entry"},
    {severity::scope_exit, "scope_exit"},
    {severity::result, "result"},
    {severity::error, "error"},
    {severity::fatal, "fatal"},
};

}  // namespace foundation::log

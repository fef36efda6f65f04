// Environment variables that hold a list, such as PATH. Narrow text, as the C run-time has it. Reading is as safe among
// threads as `getenv` is: nobody may change the environment meanwhile.
#pragma once

#include <boost/algorithm/string/classification.hpp>
#include <boost/algorithm/string/split.hpp>

#include <cstdlib>
#include <string>
#include <vector>

namespace foundation::core::process::windows {

/// The value of the variable, empty if there is none; never null. Owned by the run-time, until the next change.
inline const char* read_variable(const char* name) {
  const char* const value = std::getenv(name);
  return value ? value : "";
}

/// The entries between the semicolons, taken literally: empty ones count, and quotes and blanks are part of an entry.
template <class Entry>
std::vector<Entry> split_list(const std::string& value) {
  std::vector<Entry> entries;
  boost::algorithm::split(entries, value, boost::is_any_of(";"), boost::token_compress_off);
  return entries;
}

}  // namespace foundation::core::process::windows

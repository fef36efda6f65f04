// Environment variables that hold a list, such as PATH, as the C run-time has them. They are read wide: the narrow copy
// of the run-time has other letters, or question marks, in the place of what the active code page lacks, and nothing in
// it shows which. Reading is as safe among threads as `getenv` is: nobody may change the environment meanwhile.
#pragma once

#include <boost/algorithm/string/classification.hpp>
#include <boost/algorithm/string/split.hpp>

#include <stdlib.h>

#include <string>
#include <vector>

namespace foundation::core::process::windows {

/// The value of the variable, empty if there is none; never null. Owned by the run-time, until the next change.
inline const wchar_t* read_variable(const wchar_t* name) {
  const wchar_t* const value = ::_wgetenv(name);
  return value ? value : L"";
}

/// The entries between the semicolons, read literally: empty ones count, and quotes and blanks are part of an entry.
template <class Entry>
std::vector<Entry> split_list(const std::wstring& value) {
  std::vector<Entry> entries;
  boost::algorithm::split(entries, value, boost::is_any_of(L";"), boost::token_compress_off);
  return entries;
}

}  // namespace foundation::core::process::windows

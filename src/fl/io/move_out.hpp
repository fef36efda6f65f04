// What the moves of the string streams share.
#pragma once

#include <cpp11compat/char16_streams.hpp>

#include <ios>
#include <sstream>
#include <utility>

namespace foundation::core::io::detail {

/// Empties `buffer` and returns what it was. Its mode goes along: until it is assigned to, it accepts and gives
/// nothing.
inline std::basic_stringbuf<char16_t> move_out(std::basic_stringbuf<char16_t>& buffer) {
  return std::exchange(buffer, std::basic_stringbuf<char16_t>(std::ios_base::openmode()));
}

}  // namespace foundation::core::io::detail

// Text that is built with streams, and is whole or not there. A stream by itself swallows the std::bad_alloc of its
// buffer, and goes on without what it could not write.
#pragma once

#include <boost/format.hpp>

#include <ios>

namespace foundation::core::util {

/// A manipulator: from here on the stream throws what its buffer throws.
inline std::ios& throw_failures(std::ios& stream) {
  stream.exceptions(std::ios_base::badbit);
  return stream;
}

/// `text` with its arguments, each of which boost::format writes to a stream of its own. Throws `std::bad_alloc`.
template <class... Values>
boost::format filled(const char* text, const Values&... values) {
  boost::format made(text);
  (made % ... % boost::io::group(throw_failures, values));
  return made;
}

}  // namespace foundation::core::util

// How a user is written in a launch context. A pure function, safe on any thread; whether the user exists is not asked.
#pragma once

#include <boost/tuple/tuple.hpp>

#include <string>

namespace foundation::core::process {

/// User and domain of "DOMAIN\USER", "USER@DOMAIN" or "USER". Each is split at the first sign, and at a backslash
/// rather than at an "@". The domain of a user alone is ".", the accounts of this machine. Throws `process_bad_user` if
/// either is empty.
boost::tuples::tuple<std::string, std::string> parse_user(const std::string& text);

}  // namespace foundation::core::process

// The facts that are attached to an exception, in a container that copies on several threads can share. For the
// family's own headers.
#pragma once

#include <fl/export.hpp>

#include <boost/exception/exception.hpp>

namespace foundation::core::except::detail {

/// Gives `error` a container whose owners are counted atomically, unless it has a container already; Boost's own counts
/// without protection. Boost's functions use it like theirs. Throws `std::bad_alloc` and leaves `error` as it was.
///
/// Not synchronised with other writers. A thread that copies `error` meanwhile gets either no container or the new one,
/// complete and owned.
FL_API void ensure_shared_error_info(const boost::exception& error);

}  // namespace foundation::core::except::detail

// The container of the facts attached to an exception, in a form that copies on several threads can share.
#pragma once

#include <boost/exception/exception.hpp>

namespace foundation::core::except {

/// Gives `error` a container whose owners are counted atomically, unless it has a container already; Boost's own counts
/// without protection. Boost's functions use it like theirs. Throws `std::bad_alloc` and leaves `error` as it was.
///
/// Not synchronised with other writers. A thread that copies `error` meanwhile gets either no container or the new one,
/// complete and owned.
void ensure_shared_error_info(const boost::exception& error);

}  // namespace foundation::core::except

// What to call an exception that only a catch-all handler has caught. Thread safety: any thread.
#pragma once

#include <fl/export.hpp>

namespace foundation::core::diag {

/// For a catch-all handler: the run-time type name of the exception being handled, as `std::type_info::name` gives it
/// (`detail::demangle_typeid_name` makes it readable). Null if no exception is being handled, or it is none of C++.
FL_API const char* unknown_exception_name() noexcept;

}  // namespace foundation::core::diag

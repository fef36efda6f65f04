// Readable names of types. Thread safety: any thread.
#pragma once

#include <fl/export.hpp>

#include <string>

namespace foundation::core::diag::detail {

/// The readable form of a name as `std::type_info::name` gives it: "std::runtime_error", cut at 1,023 bytes. `strict`
/// says what becomes of a name that cannot be read: if true, throws `std::invalid_argument` with the name as its text
/// ("<null>" for a null or empty one), otherwise returns it as it is (an empty string for null). Throws
/// `std::bad_alloc`.
FL_API std::string demangle_typeid_name(const char* name, bool strict);

}  // namespace foundation::core::diag::detail

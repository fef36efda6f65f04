// Whether a child is to run with more or fewer rights than its parent.
#pragma once

#include <fl/export.hpp>

#include <cstdint>
#include <iosfwd>

namespace foundation::core::process {

/// The numbers are part of the interface.
enum class ElevationLevel : std::uint32_t {
  Unset = 0,        ///< no request
  Elevated = 1,     ///< run elevated
  NonElevated = 2,  ///< run without the elevation that the parent may have
};

/// True exactly when `right` is `Elevated` and `left` is not: `Unset` and `NonElevated` differ, yet neither is less.
FL_API bool operator<(ElevationLevel left, ElevationLevel right);

/// Prints "Unset", "1" or "0"; nothing for a number outside the enumeration.
FL_API std::ostream& operator<<(std::ostream& stream, ElevationLevel value);

}  // namespace foundation::core::process

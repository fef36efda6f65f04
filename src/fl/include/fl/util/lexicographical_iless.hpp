// An order of narrow strings that ignores case.
#pragma once

#include <fl/export.hpp>

#include <string>

namespace foundation::core::util {

/// Less by the upper-case forms that the current global `std::locale` gives, compared byte by byte as signed numbers;
/// a prefix is less than the longer string. Safe on any thread. A container that is ordered by it must not see the
/// global locale change to one with other upper-case forms.
struct FL_API lexicographical_iless {
  /// Whether `left` comes before `right`.
  bool operator()(const std::string& left, const std::string& right) const;
};

}  // namespace foundation::core::util

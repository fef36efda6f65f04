// The extra handles that a child is to inherit. They are neither opened, duplicated nor closed here. One object belongs
// to one thread at a time.
#pragma once

#include <set>

namespace foundation::core::process {

/// An ordered set of native handles, by value and without duplicates.
class inherited_handles_type : public std::set<void*> {
 public:
  using std::set<void*>::set;
};

}  // namespace foundation::core::process

// The import tables of the modules in this process: through them each module calls what other modules export.
#pragma once

#include <cstddef>
#include <initializer_list>

namespace mobservation {

using any_function = void (*)();

struct redirection {
  any_function from;
  any_function to;
};

/// Lets all modules that are loaded now, except the one with this code, call `to` where they call `from`. Returns how
/// many entries were changed. May be repeated for modules that came later. Throws `std::bad_alloc`. Any thread: callers
/// in other threads see the old or the new function.
std::size_t redirect_imports(std::initializer_list<redirection> redirections);

}  // namespace mobservation

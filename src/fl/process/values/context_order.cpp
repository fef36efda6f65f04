// Equality and order of a launch context. Both go through the same fields in the same order; the inherited pipes have
// no part in either.
#include <fl/process/context.hpp>

#include <algorithm>
#include <functional>

namespace foundation::core::process {

namespace {

// Negative, zero or positive, as the left one is less, equal or greater.
template <class T>
int order(const T& left, const T& right) {
  if (left < right) {
    return -1;
  }
  return left == right ? 0 : 1;
}

// `operator<` of pointers need not be an order over unrelated objects; `std::less` is one.
int order(const inherited_handles_type& left, const inherited_handles_type& right) {
  if (std::lexicographical_compare(left.begin(), left.end(), right.begin(), right.end(), std::less<void*>())) {
    return -1;
  }
  return left == right ? 0 : 1;
}

int order(const boost::optional<context::User>& left, const boost::optional<context::User>& right) {
  if (!left || !right) {
    return order(left.has_value(), right.has_value());
  }
  const int names = order(left->name, right->name);
  return names != 0 ? names : order(left->password, right->password);
}

}  // namespace

bool operator==(const context::User& left, const context::User& right) {
  return left.name == right.name && left.password == right.password;
}

bool operator==(const context& left, const context& right) {
  return left.environment() == right.environment() && left.std_in() == right.std_in() &&
         left.std_out() == right.std_out() && left.std_err() == right.std_err() &&
         left.directory() == right.directory() && left.user() == right.user() &&
         left.inherited_handles() == right.inherited_handles() && left.detached_process() == right.detached_process() &&
         left.explicitlyInheritHandles() == right.explicitlyInheritHandles() &&
         left.create_no_window() == right.create_no_window() && left.hide_windows() == right.hide_windows() &&
         left.elevationLevel() == right.elevationLevel();
}

bool operator<(const context& left, const context& right) {
  int decided = order(left.environment(), right.environment());
  if (decided == 0) {
    decided = order(left.std_in(), right.std_in());
  }
  if (decided == 0) {
    decided = order(left.std_out(), right.std_out());
  }
  if (decided == 0) {
    decided = order(left.std_err(), right.std_err());
  }
  if (decided == 0) {
    decided = order(left.directory(), right.directory());
  }
  if (decided == 0) {
    decided = order(left.user(), right.user());
  }
  if (decided == 0) {
    decided = order(left.inherited_handles(), right.inherited_handles());
  }
  if (decided == 0) {
    decided = order(left.detached_process(), right.detached_process());
  }
  if (decided == 0) {
    decided = order(left.explicitlyInheritHandles(), right.explicitlyInheritHandles());
  }
  if (decided == 0) {
    decided = order(left.create_no_window(), right.create_no_window());
  }
  if (decided == 0) {
    decided = order(left.hide_windows(), right.hide_windows());
  }
  return decided != 0 ? decided < 0 : left.elevationLevel() < right.elevationLevel();
}

}  // namespace foundation::core::process

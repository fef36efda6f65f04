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

// Whether `decides` returns true for the values of a field on both sides. Asks field by field, in the order in which
// they decide, and stops at the first that does.
template <class Decision>
bool any_field(const context& left, const context& right, Decision decides) {
  return decides(left.environment(), right.environment()) || decides(left.std_in(), right.std_in()) ||
         decides(left.std_out(), right.std_out()) || decides(left.std_err(), right.std_err()) ||
         decides(left.directory(), right.directory()) || decides(left.user(), right.user()) ||
         decides(left.inherited_handles(), right.inherited_handles()) ||
         decides(left.detached_process(), right.detached_process()) ||
         decides(left.explicitlyInheritHandles(), right.explicitlyInheritHandles()) ||
         decides(left.create_no_window(), right.create_no_window()) ||
         decides(left.hide_windows(), right.hide_windows()) || decides(left.elevationLevel(), right.elevationLevel());
}

}  // namespace

bool operator==(const context::User& left, const context::User& right) {
  return left.name == right.name && left.password == right.password;
}

bool operator==(const context& left, const context& right) {
  return !any_field(left, right, [](const auto& one, const auto& other) { return !(one == other); });
}

bool operator<(const context& left, const context& right) {
  int decided = 0;
  any_field(left, right, [&](const auto& one, const auto& other) {
    decided = order(one, other);
    return decided != 0;
  });
  return decided < 0;
}

}  // namespace foundation::core::process

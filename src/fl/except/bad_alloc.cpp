#include <fl/except/bad_alloc.hpp>

namespace foundation::core::except {

namespace detail {

using internal_error = bad_alloc_impl::internal;

internal_error::internal() noexcept = default;
internal_error::internal(const internal&) noexcept = default;
internal_error& internal_error::operator=(const internal&) noexcept = default;
internal_error::~internal() = default;

const boost::exception_detail::clone_base* internal_error::clone() const {
  return new internal(*this);
}

void internal_error::rethrow() const {
  throw *this;
}

bad_alloc_impl::bad_alloc_impl() noexcept = default;
bad_alloc_impl::bad_alloc_impl(const bad_alloc_impl&) noexcept = default;
bad_alloc_impl& bad_alloc_impl::operator=(const bad_alloc_impl&) noexcept = default;
bad_alloc_impl::~bad_alloc_impl() = default;

const char* bad_alloc_impl::what() const noexcept {
  return internal_.what();
}

}  // namespace detail

boost::exception_detail::clone_impl<detail::bad_alloc_impl> bad_alloc() noexcept {
  struct original : detail::bad_alloc_impl {};  // Its base may be copied by everybody, but made by its heirs only.
  return boost::exception_detail::clone_impl<detail::bad_alloc_impl>(original());
}

}  // namespace foundation::core::except

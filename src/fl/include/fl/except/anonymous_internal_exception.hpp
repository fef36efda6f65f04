// An internal error without a class of its own: an ordinary exception, wrapped. Failed system calls are reported as
//
//     throw detail::AnonymousInternalException(
//         boost::system::system_error(error, boost::system::system_category(), "shop::open_till"));
//
// and can be caught as `boost::system::system_error`, which has the code, or as `IInternalException`.
//
// Thread safety: that of <fl/except/iexception.hpp>.
#pragma once

#include <fl/except/exception.hpp>
#include <fl/export.hpp>

#include <boost/system/system_error.hpp>

#include <utility>

namespace foundation::core::except::detail {

/// `T`: a copyable class derived from `std::exception`, whose own `what()` asks no exception of this family for its
/// text: `what()` calls it within the lock of these texts.
template <class T>
class AnonymousInternalException : public Exception<IInternalException, T, void> {
 public:
  explicit AnonymousInternalException(const T& source);
  /// Takes the text over instead of copying it.
  explicit AnonymousInternalException(T&& source);
  AnonymousInternalException(const AnonymousInternalException&) = default;
  AnonymousInternalException& operator=(const AnonymousInternalException&) = default;
  ~AnonymousInternalException() override = default;

 private:
  /// A copy on the heap, owned by the caller. Throws `std::bad_alloc` and what copying a `T` throws.
  const boost::exception_detail::clone_base* clone() const override;
  void rethrow() const override;
};

// Not inline: the compiler exports no inline members of a template.

template <class T>
AnonymousInternalException<T>::AnonymousInternalException(const T& source)
    : Exception<IInternalException, T, void>(source) {}

template <class T>
AnonymousInternalException<T>::AnonymousInternalException(T&& source)
    : Exception<IInternalException, T, void>(std::move(source)) {}

template <class T>
const boost::exception_detail::clone_base* AnonymousInternalException<T>::clone() const {
  return new AnonymousInternalException(*this);
}

template <class T>
void AnonymousInternalException<T>::rethrow() const {
  throw *this;
}

}  // namespace foundation::core::except::detail

namespace foundation::core::except {

// One copy of these, in the DLL.
extern template class FL_API Exception<IInternalException, boost::system::system_error, void>;
extern template class FL_API detail::AnonymousInternalException<boost::system::system_error>;

}  // namespace foundation::core::except

// Joins a kind of exception to an ordinary exception class, so that the object is caught by either family:
//
//     class stale_index : public Exception<IInternalException, std::runtime_error, void> {
//      public:
//       stale_index() : Exception(std::runtime_error("the index is out of date")) {}
//
//      private:
//       const boost::exception_detail::clone_base* clone() const override { return new stale_index(*this); }
//       void rethrow() const override { throw *this; }
//     };
//
// An internal error that needs no class of its own is thrown as `AnonymousInternalException`.
//
// Thread safety: that of <fl/except/iexception.hpp>.
#pragma once

#include <fl/except/base_text.hpp>
#include <fl/except/iexception.hpp>
#include <fl/export.hpp>

#include <exception>
#include <new>
#include <type_traits>
#include <utility>

namespace foundation::core::except {

/// A user error that is also a `Base`. Its text is its message: that of `Base` is not looked at.
/// `Kind`: `IUserException` or a class derived from it, such as `IMsgIDException`. `Base`: derived from
/// `std::exception`; not abstract, copyable. The third parameter is always `void`.
template <class Kind, class Base, class = void>
class Exception : public Kind, public Base {
  static_assert(std::is_base_of_v<IUserException, Kind>, "IInternalException itself, or a user error");

 public:
  Exception() = default;
  /// With a copy of `source` as its `Base`.
  explicit Exception(const Base& source);
  Exception(const Exception&) = default;
  Exception& operator=(const Exception& other);
  ~Exception() override = default;

  const char* what() const noexcept override;
};

/// An internal error that is also a `Base`, whose text, read as UTF-8, is its own; "Unknown exception" if `Base` has
/// none.
template <class Base>
class Exception<IInternalException, Base, void>
    : public IInternalException, public Base, private detail::base_text<Base> {
 public:
  Exception() = default;
  /// With a copy of `source` as its `Base`.
  explicit Exception(const Base& source);
  /// Takes the text over instead of copying it.
  explicit Exception(Base&& source);
  Exception(const Exception&) = default;
  Exception& operator=(const Exception& other);
  ~Exception() override = default;

  const char* what() const noexcept override;

 private:
  ustring ToUstringImpl() const override;
};

// Not inline: the compiler exports no inline members of a template.

template <class Kind, class Base, class Void>
Exception<Kind, Base, Void>::Exception(const Base& source) : Base(source) {}

template <class Kind, class Base, class Void>
Exception<Kind, Base, Void>& Exception<Kind, Base, Void>::operator=(const Exception& other) {
  Kind::operator=(other);
  if (this != &other) {
    Base::operator=(other);
  }
  return *this;
}

template <class Kind, class Base, class Void>
const char* Exception<Kind, Base, Void>::what() const noexcept {
  return IException::what();
}

template <class Base>
Exception<IInternalException, Base, void>::Exception(const Base& source)
    : Base(source), detail::base_text<Base>(source) {}

template <class Base>
Exception<IInternalException, Base, void>::Exception(Base&& source)
    // What is kept apart from a base is that of a base which has nothing to take over.
    : Base(std::move(source)), detail::base_text<Base>(source) {}  // NOLINT(bugprone-use-after-move)

template <class Base>
Exception<IInternalException, Base, void>& Exception<IInternalException, Base, void>::operator=(
    const Exception& other) {
  IInternalException::operator=(other);
  if (this != &other) {
    Base::operator=(other);
    detail::base_text<Base>::operator=(other);
  }
  return *this;
}

template <class Base>
const char* Exception<IInternalException, Base, void>::what() const noexcept {
  return IException::what();
}

template <class Base>
ustring Exception<IInternalException, Base, void>::ToUstringImpl() const {
  const char* const text = detail::base_text<Base>::get(*this);
  return IException::convert_str(std::string(text != nullptr ? text : "Unknown exception"));
}

// One copy of these, in the DLL.
extern template class FL_API Exception<IInternalException, std::exception, void>;
extern template class FL_API Exception<IUserException, std::exception, void>;
extern template class FL_API Exception<IInternalException, std::bad_alloc, void>;

}  // namespace foundation::core::except

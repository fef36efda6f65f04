// The root of the library's exceptions, and the two kinds they come in: internal errors, which are for the developer,
// and user errors, whose text is a message in the user's language.
//
// Throw an internal error by wrapping any ordinary exception (<fl/except/anonymous_internal_exception.hpp>); it can be
// caught as what it wraps, as internal error, and as any base of these:
//
//     throw detail::AnonymousInternalException(std::runtime_error("the index is out of date"));
//     …
//     } catch (const IInternalException& e) {  // or std::runtime_error, std::exception, IException, boost::exception
//       std::cerr << e.what();
//
// Define a user error as a class that knows its message and can copy itself (<fl/except/msg_id_exception.hpp>, and
// examples/user_error for a whole program):
//
//     class out_of_stock : public IMsgIDException {
//      public:
//       explicit out_of_stock(const std::string& item) : id_("SHOP", "outOfStock", {item}) {}
//       std::string GetErrorID() const override { return get_error_id(id_); }
//       const resource_core::BaseMsgID& GetMsgID() const override { return id_; }
//
//      private:
//       const boost::exception_detail::clone_base* clone() const override { return new out_of_stock(*this); }
//       void rethrow() const override { throw *this; }
//       resource_core::BaseMsgID id_;
//     };
//
// Carry an exception to another thread with `boost::current_exception()` and `boost::rethrow_exception`, or without
// throwing it first with `boost::copy_exception(e)`, which in newer versions of Boost needs C++20 for this family: the
// class stays what it is. Attach facts with `e << info`, where the info is Boost's, and get all of them with
// `boost::diagnostic_information(e)`.
//
// Copies share their attached facts, and the text of `what()` is kept among these. So a copy made after the first
// `what()` answers with the same text at the same address; one made before, with no facts to share, computes its own.
//
// Thread safety: `what()` may be called on any objects from any threads, also on one object and on copies that share
// facts. Such copies may be made, used and destroyed on different threads, as long as the family's `<<` attached the
// first fact, or `what()` was called before. That of Boost attaches it if the object is const, is known as a
// `boost::exception` only, or gets a tuple of facts: such facts count their owners without protection, and the copies
// that share them belong to one thread. Attaching, assigning and `boost::diagnostic_information` need the object, and
// all that share its facts, to themselves.
#pragma once

#include <fl/except/shared_error_info.hpp>
#include <fl/export.hpp>
#include <fl/util/ustring.hpp>

#include <boost/exception/exception.hpp>
#include <boost/smart_ptr/shared_ptr.hpp>

#include <string>
#include <type_traits>
#include <utility>

namespace foundation::core::except {

/// Root of both kinds. Only `IInternalException` and `IUserException` derive from it; concrete classes supply `clone`
/// and `rethrow`, which transport needs. No operation of the family removes anything from its source: moving is
/// copying, and copying and assigning share the attached facts.
class FL_API IException : public boost::exception_detail::clone_base, public boost::exception {
 public:
  /// No facts attached, no place of the throw known.
  IException() noexcept;
  IException(const IException& other) noexcept;
  IException& operator=(const IException& other) noexcept;

  /// The text in UTF-8, computed by the first call and kept. Valid until the last copy that shares the attached facts
  /// is gone. If the text cannot be had now, because memory or a message is missing, the answer is the type's name as
  /// `std::type_info` gives it, and the next call tries again.
  virtual const char* what() const noexcept;

  /// The text in UTF-16, computed by each call. Throws what computing it throws.
  ustring ToUstring() const;

 protected:
  /// UTF-16 to UTF-8 and back; what is ill-formed becomes U+FFFD. Throws `std::bad_alloc`.
  static std::string convert_str(const ustring& text);
  static ustring convert_str(const std::string& text);

 private:
  friend class IInternalException;
  friend class IUserException;

  ~IException() override;

  /// The text; unless overridden, the readable name of the dynamic type. `what()` calls it holding the lock of all
  /// texts: it must not call `what()` of any exception of this family, nor wait for a thread that may.
  virtual ustring ToUstringImpl() const;
};

/// An error for the developer. <fl/except/exception.hpp> joins it to an ordinary exception.
class FL_API IInternalException : public IException {
 public:
  IInternalException() noexcept;
  IInternalException(const IInternalException& other) noexcept;
  IInternalException& operator=(const IInternalException& other) noexcept;
  ~IInternalException() override;
};

/// An error for the user. `what()` and `ToUstring()` give the message.
class FL_API IUserException : public IException {
 public:
  IUserException() noexcept;
  IUserException(const IUserException& other) noexcept;
  IUserException& operator=(const IUserException& other) noexcept;
  ~IUserException() override;

  /// The name of the error, the same in all languages and versions: "SHOP:outOfStock".
  virtual std::string GetErrorID() const = 0;
  /// The message in UTF-16, made anew by each call. `what()` calls it too, holding the lock of all texts: it must not
  /// call `what()` of any exception of this family, nor wait for a thread that may, and while it takes its time other
  /// threads wait for the first texts of their exceptions.
  virtual ustring GetUnicodeMessageTxt() const = 0;
  /// The same in UTF-8. Throws what `GetUnicodeMessageTxt` throws.
  std::string GetMessageTxt() const;

 private:
  ustring ToUstringImpl() const override;
};

namespace detail {

template <class Error>
inline constexpr bool is_of_family = std::is_base_of_v<IException, std::remove_reference_t<Error>>;

/// What a Boost operator attaches facts to.
template <class Error>
const Error& prepared_for_facts(Error& error) {
  ensure_shared_error_info(error);
  return error;
}

/// A copy that `Pointer`, which is `boost::exception_ptr`, owns. It has a list of facts of its own.
template <class Pointer>
Pointer copied(const IException& error) {
  using boost::exception_detail::clone_base;
  const boost::shared_ptr<const clone_base> copy(static_cast<const clone_base&>(error).clone());
  boost::exception_detail::copy_boost_exception(
      const_cast<boost::exception*>(dynamic_cast<const boost::exception*>(copy.get())), &error);
  return Pointer(copy);
}

}  // namespace detail

/// Attaches a fact as Boost's operator does, to any object of this family that is not const: `throw stale() << info`.
/// In place of Boost's, so that copies can share the facts on several threads. Throws `std::bad_alloc`.
template <class Error, class Tag, class T,
          std::enable_if_t<detail::is_of_family<Error> && !std::is_const_v<std::remove_reference_t<Error>>, int> = 0>
const std::remove_reference_t<Error>& operator<<(Error&& error, boost::error_info<Tag, T>&& fact) {
  return detail::prepared_for_facts(error) << std::move(fact);
}
template <class Error, class Tag, class T,
          std::enable_if_t<detail::is_of_family<Error> && !std::is_const_v<std::remove_reference_t<Error>>, int> = 0>
const std::remove_reference_t<Error>& operator<<(Error&& error, const boost::error_info<Tag, T>& fact) {
  return detail::prepared_for_facts(error) << fact;
}

}  // namespace foundation::core::except

#ifdef __cpp_concepts
namespace boost {

class exception_ptr;

// Boost's own of these names, which are less constrained, wrap the object in a class that can clone itself. In newer
// versions that class does so twice when the object can do it itself, and the compiler cannot choose. To be used with
// <boost/exception_ptr.hpp>.

/// A copy of `error`, of its own class, in an `exception_ptr`.
template <class E>
  requires foundation::core::except::detail::is_of_family<E>
auto copy_exception(const E& error) {
  return foundation::core::except::detail::copied<exception_ptr>(error);
}
template <class E>
  requires foundation::core::except::detail::is_of_family<E>
auto make_exception_ptr(const E& error) {
  return foundation::core::except::detail::copied<exception_ptr>(error);
}

}  // namespace boost
#endif

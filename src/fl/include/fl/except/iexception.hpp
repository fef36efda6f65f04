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
// Take an exception to another thread with `boost::current_exception()` and `boost::rethrow_exception`: the class stays
// what it is. Attach facts with Boost's `e << info`, and get all of them with `boost::diagnostic_information(e)`.
//
// Copies share their attached facts, and the text of `what()` is kept among these. So a copy made after the first
// `what()` answers with the same text at the same address; one made before, with no facts to share, computes its own.
//
// Thread safety: `what()` may be called on any objects from any threads, also on one object and on copies that share
// facts. Such copies may be made, used and destroyed on different threads if `what()` was called before the first fact
// was attached; facts that Boost's `<<` was the first to attach count their owners without protection, and the copies
// that share them belong to one thread. Attaching, assigning and `boost::diagnostic_information` need the object, and
// all that share its facts, to themselves.
#pragma once

#include <fl/export.hpp>
#include <fl/util/ustring.hpp>

#include <boost/exception/exception.hpp>

#include <string>

namespace foundation::core::except {

/// Root of both kinds. Only `IInternalException` and `IUserException` derive from it; concrete classes supply `clone`
/// and `rethrow`, which transport needs. No operation of the family takes anything away from its source: moving is
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

  /// The text; unless overridden, the readable name of the dynamic type. `what()` calls it holding a lock: it must not
  /// call `what()` of any exception of this family.
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
  /// The message in UTF-16, made anew by each call.
  virtual ustring GetUnicodeMessageTxt() const = 0;
  /// The same in UTF-8. Throws what `GetUnicodeMessageTxt` throws.
  std::string GetMessageTxt() const;

 private:
  ustring ToUstringImpl() const override;
};

}  // namespace foundation::core::except

// A user error in a few lines: the class says which message it is, and gets from here what it takes to be thrown,
// caught, copied to another thread, named and shown.
//
//     class out_of_stock : public foundation::kit::user_error<out_of_stock> {
//      public:
//       out_of_stock(const std::string& item, std::int64_t wanted, std::int64_t left)
//           : user_error(messages::SHOP::outOfStock(wanted, item, left)) {}
//     };
//
//     throw out_of_stock("E27", 5, 3);
//     …
//     } catch (const IUserException& e) {  // or out_of_stock, IMsgIDException, IException, std::exception
//       std::cerr << e.GetErrorID() << ": " << e.what();
//
// The function that makes the id may come from the CMake function `qxfl_add_message_catalog`; any
// `resource_core::BaseMsgID` does.
//
// Derive further from such a class in the same way, naming it as the base. Its constructors are called with the
// arguments given; it needs one, which may be protected, for the id of another message:
//
//     class sold_out : public foundation::kit::user_error<sold_out, out_of_stock> {
//      public:
//       explicit sold_out(const std::string& item) : user_error(item, 1, 0) {}
//     };
//
// A class derived in the plain way would be copied and thrown again as its base: then `clone` and `rethrow` assert.
//
// Everything is inline, so each module has it. A class that is defined alike in several modules, as in a common header,
// is caught in each of them; one in an unnamed namespace only where it stands.
//
// Thread safety: that of <fl/except/iexception.hpp>. Copies share the id, and so neither allocate nor throw.
#pragma once

#include <fl/except/exception.hpp>
#include <fl/except/msg_id_exception.hpp>
#include <resource_core/msg_id.hpp>

#include <cassert>
#include <exception>
#include <memory>
#include <string>
#include <type_traits>
#include <typeinfo>
#include <utility>

namespace foundation::kit {

namespace detail {

/// Where each line of user errors begins: the message.
class message_error : public core::except::Exception<core::except::IMsgIDException, std::exception, void> {
 public:
  // Not to be moved from: an error always has its message.
  message_error(const message_error&) = default;
  message_error& operator=(const message_error&) = default;
  ~message_error() override = default;

  /// Catalog and mnemonic: "SHOP:outOfStock".
  std::string GetErrorID() const override { return get_error_id(*id_); }
  /// Valid until the last copy of the error is gone.
  const resource_core::BaseMsgID& GetMsgID() const override { return *id_; }

 protected:
  explicit message_error(resource_core::BaseMsgID id)
      : id_(std::make_shared<const resource_core::BaseMsgID>(std::move(id))) {}

 private:
  std::shared_ptr<const resource_core::BaseMsgID> id_;  ///< not null
};

}  // namespace detail

/// `Derived`: the class that derives from this, which can be copied. `Base`: the user error that it derives from
/// further, itself made with this template.
template <class Derived, class Base = detail::message_error>
class user_error : public Base {
  static_assert(std::is_base_of_v<detail::message_error, Base>, "a class derived from a user_error");

 protected:
  /// What a constructor of `Base` takes: for the first in the line the id of its message. Throws `std::bad_alloc`.
  template <class First, class... Rest,
            std::enable_if_t<!std::is_base_of_v<user_error, std::remove_reference_t<First>>, int> = 0>
  explicit user_error(First&& first, Rest&&... rest) : Base(std::forward<First>(first), std::forward<Rest>(rest)...) {}
  /// If `Base` has such a one.
  user_error() = default;
  user_error(const user_error&) = default;
  user_error& operator=(const user_error&) = default;
  ~user_error() override = default;

 private:
  const boost::exception_detail::clone_base* clone() const override { return new Derived(self()); }
  void rethrow() const override { throw self(); }

  const Derived& self() const {
    assert(typeid(*this) == typeid(Derived) && "derive from user_error<This, Base>, not from Base");
    return static_cast<const Derived&>(*this);
  }
};

}  // namespace foundation::kit

// User errors whose text is looked up in a message catalog (<i18n/message_catalog.hpp>). How to define one stands in
// <fl/except/iexception.hpp>; derive from `Exception<IMsgIDException, std::exception, void>` instead where the error
// is to be caught as `std::exception` too.
//
// Thread safety: that of <fl/except/iexception.hpp>.
#pragma once

#include <fl/except/iexception.hpp>
#include <fl/export.hpp>
#include <resource_core/msg_id.hpp>

#include <string>

namespace foundation::core::except {

/// A concrete class supplies `clone`, `rethrow`, `GetErrorID` and `GetMsgID`.
class FL_API IMsgIDException : public IUserException {
 public:
  IMsgIDException() noexcept;
  IMsgIDException(const IMsgIDException& other) noexcept;
  IMsgIDException& operator=(const IMsgIDException& other) noexcept;
  ~IMsgIDException() override;

  /// The catalog's text in the language of this moment; `what()` keeps the first, which it asks for holding the lock of
  /// all texts. Throws what `fl::i18n::MessageCatalog::get_message` throws.
  ustring GetUnicodeMessageTxt() const override;
  /// The message, owned by this object.
  virtual const resource_core::BaseMsgID& GetMsgID() const = 0;

 protected:
  // For implementing GetErrorID.

  /// `id`, if it names an error: two or more names joined by colons, each a letter and then letters, digits and
  /// underscores, all ASCII. Throws `detail::AnonymousInternalException<InvalidErrorID>` otherwise.
  std::string get_error_id(const std::string& id) const;
  /// Catalog and mnemonic joined by a colon, unchecked. Messages of the catalog "TESSEL:legacy_two_part" keep the two
  /// parts that their identifiers had of old: "TESSEL" and the mnemonic.
  std::string get_error_id(const resource_core::BaseMsgID& msgID) const;
};

}  // namespace foundation::core::except

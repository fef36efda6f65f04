#include <fl/except/invalid_error_id.hpp>
#include <fl/except/msg_id_exception.hpp>
#include <i18n/message_catalog.hpp>

#include "except/error_id.hpp"

namespace foundation::core::except {

IMsgIDException::IMsgIDException() noexcept = default;
IMsgIDException::IMsgIDException(const IMsgIDException&) noexcept = default;
IMsgIDException& IMsgIDException::operator=(const IMsgIDException&) noexcept = default;
IMsgIDException::~IMsgIDException() = default;

ustring IMsgIDException::GetUnicodeMessageTxt() const {
  return fl::i18n::MessageCatalog::get_message(GetMsgID());
}

std::string IMsgIDException::get_error_id(const std::string& id) const {
  if (!is_error_id(id)) {
    throw detail::AnonymousInternalException<InvalidErrorID>(InvalidErrorID(id));
  }
  return id;
}

std::string IMsgIDException::get_error_id(const resource_core::BaseMsgID& msgID) const {
  return message_error_id(msgID.catalog(), msgID.mnemonic());
}

}  // namespace foundation::core::except

// The special members of the exceptions stand here, so that their one copy lies in the DLL.
#include <i18n/errors.hpp>
#include <resource_core/msg_id.hpp>

namespace fl::i18n {

unknown_encoding::~unknown_encoding() = default;

conversion_error::conversion_error(const std::string& text, std::uint64_t position)
    : std::range_error(text), position_(position) {}
conversion_error::conversion_error(const conversion_error&) noexcept = default;
conversion_error& conversion_error::operator=(const conversion_error&) noexcept = default;
conversion_error::~conversion_error() = default;

missing_message::missing_message(const std::string& text, const resource_core::BaseMsgID& id)
    : std::runtime_error(text), id_(std::make_shared<const resource_core::BaseMsgID>(id)) {}
missing_message::missing_message(const missing_message&) noexcept = default;
missing_message& missing_message::operator=(const missing_message&) noexcept = default;
missing_message::~missing_message() = default;

const std::string& missing_message::catalog() const noexcept {
  return id_->catalog();
}

const std::string& missing_message::mnemonic() const noexcept {
  return id_->mnemonic();
}

bad_catalog::~bad_catalog() = default;

}  // namespace fl::i18n

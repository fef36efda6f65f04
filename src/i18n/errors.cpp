// The special members of the exceptions stand here, so that their one copy lies in the DLL.
#include <i18n/message_catalog.hpp>

namespace fl::i18n {

missing_message::missing_message(const std::string& text, const resource_core::BaseMsgID& id)
    : std::runtime_error(text), id_(std::make_shared<const resource_core::BaseMsgID>(id)) {}
missing_message::missing_message(const missing_message&) noexcept = default;
missing_message& missing_message::operator=(const missing_message&) noexcept = default;
missing_message::~missing_message() = default;

bad_catalog::~bad_catalog() = default;

}  // namespace fl::i18n

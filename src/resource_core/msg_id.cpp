// The special members stand here, so that their one copy lies in the DLL.
#include <resource_core/msg_id.hpp>

#include <utility>

namespace resource_core {

BaseMsgID::BaseMsgID() = default;
BaseMsgID::BaseMsgID(std::string catalog, std::string mnemonic, std::vector<MsgArgument> arguments)
    : arguments_(std::move(arguments)), catalog_(std::move(catalog)), mnemonic_(std::move(mnemonic)) {}
BaseMsgID::BaseMsgID(const BaseMsgID& other) = default;
BaseMsgID::BaseMsgID(BaseMsgID&& other) noexcept = default;
BaseMsgID& BaseMsgID::operator=(const BaseMsgID& other) = default;
BaseMsgID& BaseMsgID::operator=(BaseMsgID&& other) noexcept = default;
BaseMsgID::~BaseMsgID() = default;

}  // namespace resource_core

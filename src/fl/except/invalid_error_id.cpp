// The special members stand here, so that their one copy lies in the DLL.
#include <fl/except/invalid_error_id.hpp>

namespace foundation::core::except {

InvalidErrorID::InvalidErrorID(const std::string& id) : std::runtime_error(id) {}
InvalidErrorID::InvalidErrorID(const InvalidErrorID&) noexcept = default;
InvalidErrorID& InvalidErrorID::operator=(const InvalidErrorID&) noexcept = default;
InvalidErrorID::~InvalidErrorID() = default;

}  // namespace foundation::core::except

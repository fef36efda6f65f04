// The special members stand here, so that their one copy lies in the DLL.
#include <fl/except/typed_msg_id_holder.hpp>

namespace foundation::core::except {

using empty_holder = TypedMsgIDHolder::EmptyTypedMsgIDHolder;

empty_holder::EmptyTypedMsgIDHolder() noexcept = default;
empty_holder::EmptyTypedMsgIDHolder(const EmptyTypedMsgIDHolder&) noexcept = default;
empty_holder& empty_holder::operator=(const EmptyTypedMsgIDHolder&) noexcept = default;
empty_holder::~EmptyTypedMsgIDHolder() = default;
const char* empty_holder::what() const noexcept {
  return "TypedMsgIDHolder object is empty!\n";
}

}  // namespace foundation::core::except

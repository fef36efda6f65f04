#include <resource_core/msg_id_holder.hpp>

#include <boost/exception/exception.hpp>

namespace resource_core {

using empty_holder = GenericMsgIDHolder::EmptyGenericMsgIDHolder;

empty_holder::EmptyGenericMsgIDHolder() noexcept = default;
empty_holder::EmptyGenericMsgIDHolder(const EmptyGenericMsgIDHolder&) noexcept = default;
empty_holder& empty_holder::operator=(const EmptyGenericMsgIDHolder&) noexcept = default;
empty_holder::~EmptyGenericMsgIDHolder() = default;
const char* empty_holder::what() const noexcept {
  return "GenericMsgIDHolder object is empty";
}

GenericMsgIDHolder::GenericMsgIDHolder() noexcept = default;
GenericMsgIDHolder::GenericMsgIDHolder(const BaseMsgID& id) : id_(std::make_unique<BaseMsgID>(id)) {}
GenericMsgIDHolder::GenericMsgIDHolder(const GenericMsgIDHolder& other)
    : id_(other.id_ ? std::make_unique<BaseMsgID>(*other.id_) : nullptr) {}
GenericMsgIDHolder::GenericMsgIDHolder(GenericMsgIDHolder&& other) noexcept = default;
GenericMsgIDHolder& GenericMsgIDHolder::operator=(const GenericMsgIDHolder& other) {
  return *this = GenericMsgIDHolder(other);
}
GenericMsgIDHolder& GenericMsgIDHolder::operator=(GenericMsgIDHolder&& other) noexcept = default;
GenericMsgIDHolder::~GenericMsgIDHolder() = default;

const BaseMsgID& GenericMsgIDHolder::get() const {
  if (!id_) {
    throw boost::enable_current_exception(EmptyGenericMsgIDHolder());
  }
  return *id_;
}

}  // namespace resource_core

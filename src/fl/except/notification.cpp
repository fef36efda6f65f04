#include <fl/except/notification.hpp>
#include <i18n/convert.hpp>
#include <i18n/message_catalog.hpp>

#include <boost/throw_exception.hpp>

#include <ostream>
#include <stdexcept>
#include <utility>

namespace foundation::core::except {
namespace {

ustring text_of(const resource_core::GenericMsgIDHolder& entry) {
  return fl::i18n::MessageCatalog::get_message(entry.get());
}

}  // namespace

Notification::Notification() = default;
Notification::Notification(const Notification&) = default;
Notification::Notification(Notification&&) noexcept = default;
Notification::~Notification() = default;

Notification& Notification::operator=(const Notification& other) {
  if (this != &other) {
    *this = Notification(other);  // a copy first, so that nothing is lost if it fails
  }
  return *this;
}

Notification& Notification::operator=(Notification&& other) noexcept {
  if (this != &other) {
    entries_ = std::move(other.entries_);
  }
  return *this;
}

void Notification::append(const resource_core::BaseMsgID& id) {
  entries_.emplace_back(id);
}

bool Notification::empty() const noexcept {
  return entries_.empty();
}

Notification::operator bool() const noexcept {
  return !empty();
}

std::size_t Notification::size() const noexcept {
  return entries_.size();
}

Notification::const_iterator Notification::begin() const noexcept {
  return entries_.begin();
}

Notification::const_iterator Notification::end() const noexcept {
  return entries_.end();
}

const resource_core::BaseMsgID& Notification::operator[](std::size_t index) const {
  if (index >= size()) {
    boost::throw_exception(std::out_of_range("invalid vector subscript"), BOOST_CURRENT_LOCATION);
  }
  return entries_[index].get();
}

ustring Notification::getMessage(std::size_t index) const {
  return fl::i18n::MessageCatalog::get_message((*this)[index]);
}

void Notification::format(std::ostream& os) const {
  for (const auto& entry : entries_) {
    os << fl::i18n::to_string(text_of(entry)) << std::endl;
  }
}

void Notification::format(io::uostream& os) const {
  for (const auto& entry : entries_) {
    os << text_of(entry) << std::endl;
  }
}

void Notification::flush() noexcept {
  entries_.clear();
}

}  // namespace foundation::core::except

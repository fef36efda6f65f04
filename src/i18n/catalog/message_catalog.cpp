// The public face of the message store.
#include <i18n/message_catalog.hpp>

#include "catalog/message_store.hpp"

namespace fl::i18n {
namespace {

/// Never destroyed: other libraries may ask for texts until the process has ended.
detail::message_store& store() {
  static auto* const instance = new detail::message_store;
  return *instance;
}

}  // namespace

ustring MessageCatalog::get_message(const resource_core::BaseMsgID& id) {
  return store().text_of(id);
}

void MessageCatalog::add_directory(const ustring& path) {
  store().add_directory(path);
}

void MessageCatalog::add_catalog(const std::string& language, const std::string& catalog, std::string_view json) {
  store().add_catalog(language, catalog, json);
}

void MessageCatalog::set_language(const std::string& tag) {
  store().set_language(tag);
}

std::string MessageCatalog::language() {
  return store().language();
}

void MessageCatalog::reload() {
  store().reload();
}

}  // namespace fl::i18n

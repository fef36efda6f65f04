#include "host/message_platform.hpp"

#include <i18n/convert.hpp>

#include "catalog/message_platform.hpp"

test_support::message_system& test_support::messages() {
  static message_system system;
  return system;
}

namespace fl::i18n::detail {

using test_support::messages;

ustring message_path_variable() {
  return messages().path;
}

std::string display_language() {
  return messages().language;
}

std::optional<std::string> read_catalog_file(const ustring& path) {
  ++messages().reads;
  if (messages().reading) {
    messages().reading(path);
  }
  const auto& files = messages().files;
  return files.count(path) != 0 ? std::optional(files.at(path)) : std::nullopt;
}

std::uint64_t milliseconds() noexcept {
  return messages().milliseconds;
}

void log_unreachable(const ustring& directory, const std::string& reason) noexcept {
  messages().log += ustring_to_utf8(directory) + ": " + reason + '\n';
}

}  // namespace fl::i18n::detail

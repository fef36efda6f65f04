// What message catalogs ask the system for. Implemented in windows/message_platform.cpp. Thread safety: every function
// may be called from every thread.
#pragma once

#include <i18n/ustring.hpp>

#include <optional>
#include <string>

namespace fl::i18n::detail {

/// The value of the environment variable QX_MESSAGE_PATH; empty if it is not set.
ustring message_path_variable();

/// The user's language as the system names it, which may be more than a tag: "de-AT", "de-DE_phoneb". Empty if the
/// system does not say.
std::string user_locale_name();

/// The content of the file, or nothing if there is no such file. Throws `bad_catalog` with the system's reason.
std::optional<std::string> read_catalog_file(const ustring& path);

}  // namespace fl::i18n::detail

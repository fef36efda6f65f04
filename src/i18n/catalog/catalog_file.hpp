// Catalog files: their names and what they hold. Thread safety: pure functions.
#pragma once

#include <i18n/ustring.hpp>

#include <functional>
#include <map>
#include <optional>
#include <string>
#include <string_view>

namespace fl::i18n::detail {

/// The texts of one file by their mnemonics, which are UTF-8.
using catalog_texts = std::map<std::string, ustring, std::less<>>;

/// The name of the file, without a directory, or nothing if no catalog can have that name.
std::optional<ustring> catalog_file_name(std::string_view catalog);

/// What a file holds, the bytes `json`, which may begin with a byte order mark. Throws `bad_catalog`, which names
/// `path`, line and column.
catalog_texts parse_catalog(std::string_view json, const ustring& path);

}  // namespace fl::i18n::detail

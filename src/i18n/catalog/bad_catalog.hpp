// The text of `bad_catalog`, for all who find a fault in a catalog file. Thread safety: pure function.
#pragma once

#include <i18n/ustring.hpp>

#include <string>

namespace fl::i18n::detail {

/// Throws `bad_catalog`, which says the file and the reason.
[[noreturn]] void throw_bad_catalog(const ustring& path, const std::string& reason);

}  // namespace fl::i18n::detail

// The names of errors: which are well-formed, and how a message gives one. Pure functions.
#pragma once

#include <string>
#include <string_view>

namespace foundation::core::except {

/// Whether `id` is two or more names joined by colons, each a letter followed by letters, digits and underscores, in
/// ASCII whatever the locale. One pass, nothing allocated.
bool is_error_id(std::string_view id) noexcept;

/// The name of the error that a message is about: catalog and mnemonic joined by a colon, unchecked. The catalog of the
/// old identifiers, which have two parts, gives way to the first of these.
std::string message_error_id(const std::string& catalog, const std::string& mnemonic);

}  // namespace foundation::core::except

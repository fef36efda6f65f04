// The flat form of an environment that the creating calls accept: a block in which each entry ends in a NUL and a
// further NUL ends the block. Pure functions, safe on any thread. Names are not checked.
#pragma once

#include <fl/process/environment_map.hpp>

#include <string>
#include <string_view>
#include <utility>
#include <vector>

namespace foundation::core::process {

/// Appends `name=value` and a NUL, as bytes.
using entry_appender = void (*)(std::vector<char>& block, const std::pair<std::string, std::string>& entry);

/// The entries in the order of the map, as bytes. Without any entry it is two NULs.
std::vector<char> narrow_environment_block(const environment_map& environment, entry_appender append);

/// Gives one UTF-16 unit in upper case.
using unit_upper_case = char16_t (*)(char16_t);

/// Gives a name or a value in UTF-16. What it throws comes out of the functions that use it.
using text_decoder = std::u16string (*)(std::string_view);

/// The same in UTF-16, in the order of the upper-cased names, which the system wants there.
std::vector<char16_t> wide_environment_block(const environment_map& environment, unit_upper_case to_upper,
                                             text_decoder decode);

/// The block of a user's own variables with those of `environment` that the user does not have, in the order of the
/// upper-cased names. A variable of the user stays as it is even if `environment` has another value for it. Entries of
/// `user_block` without a name, such as the directories of the drives, are left out. Without any entry it is two NULs.
/// `user_block` is a block of the same form, not null.
std::vector<char16_t> merged_environment_block(const char16_t* user_block, const environment_map& environment,
                                               unit_upper_case to_upper, text_decoder decode);

}  // namespace foundation::core::process

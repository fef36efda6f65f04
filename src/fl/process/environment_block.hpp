// The flat forms of an environment: the entries that a snapshot gives, and the blocks that a launch takes, in which
// each entry ends in a NUL and a further NUL ends the block. Pure functions, safe on any thread. Names are not checked.
#pragma once

#include <fl/process/context.hpp>
#include <string>
#include <utility>
#include <vector>

namespace foundation::core::process {

/// From entries `NAME=VALUE`, split at the first "="; without one the whole entry is the name. Where a name comes again
/// the earlier entry stays.
environment_map environment_from_entries(std::vector<std::string> entries);

/// Appends `name=value` and a NUL, as bytes.
void append_env_var(std::vector<char>& block, const std::pair<std::string, std::string>& entry);

/// The entries in the order of the map, as bytes. Without any entry it is two NULs.
std::vector<char> narrow_environment_block(const environment_map& environment);

/// Gives one UTF-16 unit in upper case.
using unit_upper_case = char16_t (*)(char16_t);

/// The block of a user's own variables with those of `environment` that the user does not have, in the order of the
/// upper-cased names. A variable of the user stays as it is even if `environment` has another value for it. Entries of
/// `user_block` without a name, such as the directories of the drives, are left out. Without any entry it is two NULs.
/// `user_block` is a block of the same form, not null. Throws `std::range_error` "bad conversion" where `environment`
/// is not UTF-8.
std::vector<char16_t> merged_environment_block(const char16_t* user_block, const environment_map& environment,
                                               unit_upper_case to_upper);

}  // namespace foundation::core::process

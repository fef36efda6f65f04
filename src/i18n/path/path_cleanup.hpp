// What of a path's native form the text alone decides. Thread safety: pure functions.
#pragma once

#include <i18n/ustring.hpp>

#include <cstddef>

namespace fl::filesystem::detail {

/// The system accepts names up to this length, in units with the zero at the end, unless they have its prefix.
constexpr std::size_t native_path_limit = 260;

/// Whether it begins with "\\?\", "\\.\" or "\??\": the system reads such a path as it stands, or nearly so.
bool has_native_prefix(const ustring& path);

/// The path with backslashes, and without what says nothing: "." parts, ".." parts with the part before them, repeated
/// separators. A root stays: a drive, a server and its share. So does a whole path with a native prefix. None comes up
/// that was not there: a "." stays before a part that would be read as one. Empty only if `path` is.
ustring clean_path(const ustring& path);

/// A clean absolute path with the prefix that lifts the limit; one that has a prefix already stays as it is.
ustring with_long_path_prefix(const ustring& absolute);

}  // namespace fl::filesystem::detail

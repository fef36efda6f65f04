#include "path/path_cleanup.hpp"

#include <i18n/path.hpp>

#include <algorithm>
#include <string_view>
#include <vector>

namespace fl::filesystem::detail {
namespace {

using traits = path_traits<wchar_t, char16_t>;
using view = std::u16string_view;

constexpr char16_t separator = traits::preferred_separator;

std::size_t separators_at(view text, std::size_t begin) {
  const auto first = text.begin() + static_cast<std::ptrdiff_t>(begin);
  return static_cast<std::size_t>(std::find_if_not(first, text.end(), traits::is_separator) - first);
}

std::size_t part_at(view text, std::size_t begin) {
  const auto first = text.begin() + static_cast<std::ptrdiff_t>(begin);
  return static_cast<std::size_t>(std::find_if(first, text.end(), traits::is_separator) - first);
}

struct split_root {
  ustring root;              ///< clean, without the separator behind it: "", "C:", "\\server", "\\server\share"
  std::size_t length = 0;    ///< units of the path that it stands for
  bool is_relative = false;  ///< no separator follows, and none is meant
};

// More than two separators at the beginning are one that is repeated, not a server's.
split_root network_root(view path) {
  const std::size_t server = part_at(path, 2);
  split_root result{u"\\\\" + ustring(path.substr(2, server)), 2 + server};
  const std::size_t share_begin = result.length + separators_at(path, result.length);
  const std::size_t share = part_at(path, share_begin);
  if (share != 0) {
    result.root += separator;
    result.root += path.substr(share_begin, share);
    result.length = share_begin + share;
  }
  return result;
}

split_root root_of(view path) {
  if (separators_at(path, 0) == 2 && path.size() > 2) {
    return network_root(path);
  }
  const std::size_t drive = drive_length<char16_t>(path);
  return {ustring(path.substr(0, drive)), drive, separators_at(path, drive) == 0};
}

/// The parts of `path` from `begin` on that count. ".." at the beginning stays only in a relative path: the parent of a
/// root is the root.
std::vector<view> parts_of(view path, std::size_t begin, bool is_relative) {
  std::vector<view> parts;
  for (std::size_t at = begin; (at += separators_at(path, at)) < path.size();) {
    const view part = path.substr(at, part_at(path, at));
    at += part.size();
    if (part == u".") {
      continue;
    }
    const bool is_parent = part == u"..";
    if (is_parent && !parts.empty() && parts.back() != u"..") {
      parts.pop_back();
    } else if (!is_parent || is_relative) {
      parts.push_back(part);
    }
  }
  return parts;
}

/// Whether the first part would no longer be a name where nothing stands before it: it looks like a drive, or like the
/// prefix "\??\" behind the separator of a root.
bool begins_misleadingly(const split_root& root, const std::vector<view>& parts) {
  if (parts.empty() || !root.root.empty()) {
    return false;
  }
  return root.is_relative ? drive_length<char16_t>(parts.front()) != 0 : parts.front() == u"??";
}

}  // namespace

bool has_native_prefix(const ustring& path) {
  return path.starts_with(u"\\\\?\\") || path.starts_with(u"\\\\.\\") || path.starts_with(u"\\??\\");
}

ustring clean_path(const ustring& path) {
  if (has_native_prefix(path)) {
    return path;
  }
  split_root root = root_of(path);
  std::vector<view> parts = parts_of(path, root.length, root.is_relative);
  const bool has_rest = path.size() > root.length;
  if (parts.empty() && root.is_relative && has_rest) {
    parts.push_back(u".");
  }
  if (begins_misleadingly(root, parts)) {
    parts.insert(parts.begin(), u".");
  }

  ustring result = std::move(root.root);
  for (const view part : parts) {
    if (!root.is_relative || part.data() != parts.front().data()) {
      result += separator;
    }
    result += part;
  }
  const bool is_bare_root = parts.empty() && !root.is_relative && has_rest;
  if (is_bare_root || (!parts.empty() && traits::is_separator(path.back()))) {
    result += separator;
  }
  return result;
}

ustring with_long_path_prefix(const ustring& absolute) {
  if (has_native_prefix(absolute)) {
    return absolute;
  }
  return absolute.starts_with(u"\\\\") ? u"\\\\?\\UNC\\" + absolute.substr(2) : u"\\\\?\\" + absolute;
}

}  // namespace fl::filesystem::detail

// The clean-up of paths, against rules that are applied one at a time until none applies.
#include "path/path_cleanup.hpp"

#include "fuzzing.hpp"

#include <algorithm>
#include <vector>

namespace {

using fl::ustring;
using parts = std::vector<ustring>;

/// Cuts at backslashes; what stands between two neighbours is left out.
parts cut(const ustring& text) {
  parts result(1);
  for (const char16_t unit : text) {
    if (unit == u'\\') {
      result.emplace_back();
    } else {
      result.back() += unit;
    }
  }
  result.erase(std::remove(result.begin(), result.end(), u""), result.end());
  return result;
}

bool apply_one_rule(parts& names, bool is_relative) {
  for (auto at = names.begin(); at != names.end(); ++at) {
    if (*at == u"." || (*at == u".." && at == names.begin() && !is_relative)) {
      names.erase(at);
      return true;
    }
    if (*at != u".." && at + 1 != names.end() && at[1] == u"..") {
      names.erase(at, at + 2);
      return true;
    }
  }
  return false;
}

/// How long the root is, a separator behind it not included, in a path with backslashes alone.
std::size_t root_length(const ustring& path) {
  if (path.size() > 2 && path.starts_with(u"\\\\") && path[2] != u'\\') {
    const std::size_t share = path.find_first_not_of(u'\\', std::min(path.find(u'\\', 2), path.size()));
    return share == ustring::npos ? std::min(path.find(u'\\', 2), path.size())
                                  : std::min(path.find(u'\\', share), path.size());
  }
  const char16_t letter = path.empty() ? u'\0' : path[0] | 0x20;
  return path.size() > 1 && path[1] == u':' && letter >= u'a' && letter <= u'z' ? 2 : 0;
}

ustring slowly_cleaned(ustring path) {
  if (path.starts_with(u"\\\\?\\") || path.starts_with(u"\\\\.\\") || path.starts_with(u"\\??\\")) {
    return path;
  }
  std::replace(path.begin(), path.end(), u'/', u'\\');
  const std::size_t length = root_length(path);
  const ustring rest = path.substr(length);
  const bool is_network = length > 2, is_relative = !is_network && !rest.starts_with(u'\\');
  ustring result = is_network ? u"\\" : path.substr(0, length);
  for (const ustring& name : is_network ? cut(path.substr(0, length)) : parts()) {
    result += u'\\' + name;
  }
  parts names = cut(rest);
  while (apply_one_rule(names, is_relative)) {
  }
  if (names.empty() && is_relative && !rest.empty()) {
    names.emplace_back(u".");
  }
  // What would be read as a drive or a prefix.
  if (length == 0 && !names.empty() && (is_relative ? root_length(names[0]) == 2 : names[0] == u"??")) {
    names.emplace(names.begin(), u".");
  }
  for (const ustring& name : names) {
    result += (is_relative && &name == &names.front() ? u"" : u"\\") + name;
  }
  const bool ends_name = !names.empty() && rest.ends_with(u'\\'),
             is_bare = names.empty() && !is_relative && !rest.empty();
  return result + (ends_name || is_bare ? u"\\" : u"");
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  const ustring path(data, data + size);  // Of characters up to U+00FF; those that count are ASCII.
  const ustring clean = fl::filesystem::detail::clean_path(path);
  fuzzing::require(clean == slowly_cleaned(path));
  fuzzing::require(fl::filesystem::detail::clean_path(clean) == clean);
  return 0;
}

// A file name as a value.
//
// The text is UTF-16 as the program sees it: any separators, any length. What the system is given is made from it when
// a file is opened (`native_access_form`).
//
// Thread safety: a plain value.
// Templates, and one function that is implemented in windows/path.cpp, by the rules of path/path_cleanup.cpp.
#pragma once

#include <i18n/export.hpp>
#include <i18n/ustring.hpp>

#include <cstddef>
#include <string>
#include <string_view>
#include <utility>

namespace fl::filesystem {

namespace detail {

/// The path as the system accepts it:
/// - both slashes separate; runs of separators become one backslash, and a trailing one is kept;
/// - "." goes, and ".." goes with the part before it, but never a drive or a network share, and at the start of a
///   relative path it stays; what becomes empty by that is "."; and "." stays where the part behind it would else be
///   read as a drive or a prefix that the path did not begin with;
/// - what would be 260 units or longer with the current directory before it is made absolute and gets the prefix that
///   lifts the system's limit ("\\?\" or "\\?\UNC\");
/// - a path that begins with "\\?\", "\\.\" or "\??\" is returned as it is; the name of a share ("\\server\share")
///   stays.
///
/// Characters are not checked: a zero in the path is the opener's to refuse. Throws only `std::bad_alloc`.
I18N_API std::wstring make_native_access_form_with_cleanup_i18n(const ustring& path);

/// How the two forms of a path are written.
template <class Native, class Char>
struct path_traits;

template <>
struct path_traits<wchar_t, char16_t> {
  static std::wstring to_native(const ustring& path) { return {path.begin(), path.end()}; }
  static ustring from_native(const std::wstring& path) { return {path.begin(), path.end()}; }
  static std::wstring native_access_form(const ustring& path) {
    return make_native_access_form_with_cleanup_i18n(path);
  }
  static constexpr bool is_separator(char16_t unit) { return unit == u'\\' || unit == u'/'; }
  static constexpr char16_t preferred_separator = u'\\';
};

/// How many units of `path` name a drive: 2 for "C:...", else 0.
template <class Char>
constexpr std::size_t drive_length(std::basic_string_view<Char> path) noexcept {
  const bool has_drive =
      path.size() >= 2 && path[1] == Char(':') &&
      ((path[0] >= Char('a') && path[0] <= Char('z')) || (path[0] >= Char('A') && path[0] <= Char('Z')));
  return has_drive ? 2 : 0;
}

}  // namespace detail

/// A path with the text type `std::basic_string<Char>` and the system's text type `std::basic_string<Native>`.
template <class Native, class Char, class Traits = detail::path_traits<Native, Char>>
class basic_path {
 public:
  /// What `string` gives.
  using string_type = std::basic_string<Char>;
  /// What the system has.
  using native_string_type = std::basic_string<Native>;

  /// Empty: names nothing.
  basic_path() = default;
  /// Any text; nothing is checked or changed. A lone surrogate stays what it is, as the system allows it in names.
  explicit basic_path(string_type path) : path_(std::move(path)) {}
  explicit basic_path(const Char* path) : path_(path) {}
  /// From the system's form.
  explicit basic_path(const native_string_type& path) : path_(Traits::from_native(path)) {}
  explicit basic_path(const Native* path) : path_(Traits::from_native(path)) {}

  /// The text as it was given.
  const string_type& string() const noexcept { return path_; }
  /// In the system's text type, unchanged otherwise.
  native_string_type native() const { return Traits::to_native(path_); }
  /// What to give to a call of the system: with one kind of separator, without "." and "..", and with the system's
  /// prefix if it is too long to do without. Throws only `std::bad_alloc`.
  native_string_type native_access_form() const { return Traits::native_access_form(path_); }
  bool empty() const noexcept { return path_.empty(); }

  /// What stands behind the last separator, or behind the colon of a drive; empty if that is nothing.
  string_type filename() const { return path_.substr(filename_begin()); }
  /// From the last "." of the filename on; empty without one, or if it only begins with one.
  string_type extension() const { return path_.substr(stem_end()); }
  /// The filename without its extension.
  string_type stem() const { return path_.substr(filename_begin(), stem_end() - filename_begin()); }
  /// What stands before the filename, without the separators between unless they are the root; empty if that is
  /// nothing.
  basic_path parent_path() const;

  /// Whether it begins at a root: "\\...", or a drive with a separator behind it.
  bool is_absolute() const noexcept;

  /// What the name `part` means when this path is the current directory, as `std::filesystem::path` joins them: with a
  /// separator between if there is none yet. A `part` that is absolute or names another drive replaces the path, one
  /// that begins with a separator replaces what stands behind the drive or server, and behind a bare drive ("C:"),
  /// which stands for the current directory there, comes no separator.
  basic_path& operator/=(const basic_path& part);
  /// The same in a new path.
  friend basic_path operator/(basic_path left, const basic_path& right) { return left /= right; }

  /// By units: two spellings of the same file differ.
  friend bool operator==(const basic_path& left, const basic_path& right) { return left.path_ == right.path_; }
  friend bool operator!=(const basic_path& left, const basic_path& right) { return left.path_ != right.path_; }
  /// By units, as strings.
  friend bool operator<(const basic_path& left, const basic_path& right) { return left.path_ < right.path_; }

 private:
  std::size_t root_name_end() const noexcept;   ///< index in units: behind "C:" or "\\server"; 0 without
  std::size_t root_end() const noexcept;        ///< index in units: behind the drive and the separators there
  std::size_t filename_begin() const noexcept;  ///< likewise
  std::size_t stem_end() const noexcept;        ///< likewise

  string_type path_;
};

template <class Native, class Char, class Traits>
std::size_t basic_path<Native, Char, Traits>::root_name_end() const noexcept {
  const auto is_name_at = [this](std::size_t index) {
    return index < path_.size() && !Traits::is_separator(path_[index]);
  };
  if (path_.size() < 3 || is_name_at(0) || is_name_at(1) || !is_name_at(2)) {
    return detail::drive_length<Char>(path_);
  }
  std::size_t end = 3;
  while (is_name_at(end)) {
    ++end;
  }
  return end;
}

template <class Native, class Char, class Traits>
std::size_t basic_path<Native, Char, Traits>::root_end() const noexcept {
  std::size_t end = detail::drive_length<Char>(path_);
  while (end != path_.size() && Traits::is_separator(path_[end])) {
    ++end;
  }
  return end;
}

template <class Native, class Char, class Traits>
std::size_t basic_path<Native, Char, Traits>::filename_begin() const noexcept {
  const std::size_t drive = detail::drive_length<Char>(path_);
  std::size_t begin = path_.size();
  while (begin != drive && !Traits::is_separator(path_[begin - 1])) {
    --begin;
  }
  return begin;
}

template <class Native, class Char, class Traits>
std::size_t basic_path<Native, Char, Traits>::stem_end() const noexcept {
  const std::size_t begin = filename_begin();
  const std::size_t dot = path_.rfind(Char('.'));
  const bool is_parent = path_.size() - begin == 2 && path_[begin] == Char('.');
  return dot == string_type::npos || dot <= begin || (is_parent && dot == begin + 1) ? path_.size() : dot;
}

template <class Native, class Char, class Traits>
basic_path<Native, Char, Traits> basic_path<Native, Char, Traits>::parent_path() const {
  const std::size_t root = root_end();
  std::size_t end = filename_begin();
  while (end > root && Traits::is_separator(path_[end - 1])) {
    --end;
  }
  return basic_path(path_.substr(0, end));
}

template <class Native, class Char, class Traits>
bool basic_path<Native, Char, Traits>::is_absolute() const noexcept {
  const std::size_t drive = detail::drive_length<Char>(path_);
  return root_end() >= (drive != 0 ? drive + 1 : 2);
}

template <class Native, class Char, class Traits>
basic_path<Native, Char, Traits>& basic_path<Native, Char, Traits>::operator/=(const basic_path& part) {
  const std::size_t root = root_name_end();
  const std::size_t part_root = part.root_name_end();
  const bool has_another_root = part_root != 0 && part.path_.compare(0, part_root, path_, 0, root) != 0;
  if (part.is_absolute() || has_another_root) {
    return *this = part;
  }
  const bool begins_at_root = part.path_.size() > part_root && Traits::is_separator(part.path_[part_root]);
  string_type joined = path_.substr(0, begins_at_root ? root : path_.size());  // `part` may be this path.
  const bool is_bare_drive = joined.size() == detail::drive_length<Char>(joined);
  if (!begins_at_root && !is_bare_drive && !Traits::is_separator(joined.back())) {
    joined += Traits::preferred_separator;
  }
  joined.append(part.path_, part_root, string_type::npos);
  path_ = std::move(joined);
  return *this;
}

/// Paths on this system.
using path = basic_path<wchar_t, char16_t, detail::path_traits<wchar_t, char16_t>>;

}  // namespace fl::filesystem

// A file name as a value.
//
// The text is UTF-16 as the program sees it: any separators, any length. What the system is given is made from it when
// a file is opened (`native_access_form`).
//
// Thread safety: a plain value.
#pragma once

#include <i18n/export.hpp>
#include <i18n/ustring.hpp>

#include <string>
#include <utility>

namespace fl::filesystem {

namespace detail {

/// The path as the system accepts it:
/// - both slashes separate; runs of separators become one backslash, and a trailing one is kept;
/// - "." goes, and ".." takes the part before it along, but never a drive or a network share, and at the start of a
///   relative path it stays; what becomes empty by that is ".";
/// - what would be 260 units or longer with the current directory before it is made absolute and gets the prefix that
///   lifts the system's limit ("\\?\" or "\\?\UNC\");
/// - a path that begins with "\\?\", "\\.\" or "\??\" is returned as it is; the name of a share ("\\server\share")
/// stays.
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
  static constexpr bool is_separator(char16_t unit) { return unit == u'\\' || unit == u'/'; }
  static constexpr char16_t preferred_separator = u'\\';
};

}  // namespace detail

/// A path with the text type `std::basic_string<Char>` and the system's text type `std::basic_string<Native>`.
template <class Native, class Char, class Traits = detail::path_traits<Native, Char>>
class basic_path {
 public:
  using string_type = std::basic_string<Char>;
  using native_string_type = std::basic_string<Native>;

  /// Empty: names nothing.
  basic_path() = default;
  /// Any text; nothing is checked or changed. A lone surrogate stays what it is, as the system allows it in names.
  explicit basic_path(string_type path) : path_(std::move(path)) {}
  explicit basic_path(const Char* path) : path_(path) {}
  /// From the system's form.
  explicit basic_path(const native_string_type& path) : path_(Traits::from_native(path)) {}
  explicit basic_path(const Native* path) : path_(Traits::from_native(path)) {}

  const string_type& string() const noexcept { return path_; }
  /// In the system's text type, unchanged otherwise.
  native_string_type native() const { return Traits::to_native(path_); }
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

  /// Appends `part` with a separator between if there is none yet. An absolute `part` replaces the path.
  basic_path& operator/=(const basic_path& part);
  friend basic_path operator/(basic_path left, const basic_path& right) { return left /= right; }

  /// By units: two spellings of the same file differ.
  friend bool operator==(const basic_path& left, const basic_path& right) { return left.path_ == right.path_; }
  friend bool operator!=(const basic_path& left, const basic_path& right) { return left.path_ != right.path_; }
  friend bool operator<(const basic_path& left, const basic_path& right) { return left.path_ < right.path_; }

 private:
  std::size_t filename_begin() const noexcept;  ///< index in units
  std::size_t stem_end() const noexcept;        ///< likewise

  string_type path_;
};

/// Paths on this system.
using path = basic_path<wchar_t, char16_t, detail::path_traits<wchar_t, char16_t>>;

}  // namespace fl::filesystem

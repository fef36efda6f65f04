// What to run: a program and its arguments, as plain values that can be compared, ordered and printed. Nothing is
// looked up or checked here, and nothing is quoted. One object belongs to one thread at a time; concurrent reads are
// safe.
//
// Batch files (.bat, .cmd) are run by the command interpreter, which splits their arguments once more and could
// find another command in one. A launch refuses a batch file whose name or one of whose arguments holds a quote, one of
// % ! ^ & | < > or a control character, and a name that the interpreter would cut: one that has no blank, and holds one
// of , ; = or begins with @ or a bracket. An argument with one of , ; = is let through; the file may see it cut.
// An elevated launch also treats as a batch file what names a link, and a name with which, followed by .bat or .cmd,
// `which` finds something: the shell, which starts it, adds extensions of its own.
#pragma once

#include <fl/export.hpp>
#include <fl/util/ustring.hpp>
#include <i18n/convert.hpp>

#include <initializer_list>
#include <iosfwd>
#include <iterator>
#include <string>
#include <string_view>
#include <type_traits>
#include <utility>
#include <vector>

namespace foundation::core::process {

/// A program and its arguments, in UTF-8. Equality and order are those of the bytes: the name first, then the
/// arguments.
class FL_API command {
 public:
  /// A command without arguments. `name` is a program's name or path.
  command(const std::string& name);  // NOLINT(google-explicit-constructor): a name alone is a command
  command(const ustring& name);      // NOLINT(google-explicit-constructor)
  command(const command& other);
  command(command&& other) noexcept;
  command& operator=(const command& other);
  command& operator=(command&& other) noexcept;
  ~command();

  /// The program's name or path.
  const std::string& name() const;
  /// Replaces the name; the arguments stay. Returns this object.
  command& name(const std::string& name);

  /// The arguments, without the program itself.
  std::vector<std::string>& args();
  const std::vector<std::string>& args() const;

 private:
  std::string name_;
  std::vector<std::string> args_;
};

/// Whether name and arguments are the same bytes.
FL_API bool operator==(const command& left, const command& right);
/// By the bytes of the name, then by those of the arguments.
FL_API bool operator<(const command& left, const command& right);

/// Prints the name and each argument behind one blank. No quoting: not a command line for a shell.
FL_API std::ostream& operator<<(std::ostream& stream, const command& value);

namespace detail {

/// The empty string whose address says "not given" to `make_command`. Lives as long as the library.
FL_API const std::string& unspecified() noexcept;

}  // namespace detail

/// A command with `arg1` and those that follow it, up to the first that is left out (known by the address of
/// `detail::unspecified()`, not by its text: an empty string is an argument). `arg1` always counts.
FL_API command
make_command(const std::string& name, const std::string& arg1, const std::string& arg2 = detail::unspecified(),
             const std::string& arg3 = detail::unspecified(), const std::string& arg4 = detail::unspecified(),
             const std::string& arg5 = detail::unspecified(), const std::string& arg6 = detail::unspecified(),
             const std::string& arg7 = detail::unspecified(), const std::string& arg8 = detail::unspecified(),
             const std::string& arg9 = detail::unspecified(), const std::string& arg10 = detail::unspecified());

// The same for other texts, for more of them, and for those that somebody has gathered already:
//
//   make_command("compiler", u"gr\u00fcn.c", "-o", name_as_a_string_view);
//   make_command("compiler", {"-c", "a.c"});
//   make_command("compiler", files);                       // what one can loop over
//   make_command("compiler", argv + 1, argv + argc);
//
// A text is what converts to std::string or is a view of UTF-8, or of UTF-16, of which UTF-8 is made
// (i18n/convert.hpp). A string literal is a text, and no array of characters. Who leaves nothing out writes no
// `detail::unspecified()` here.

namespace detail {

template <class T>
inline constexpr bool is_string = std::is_convertible_v<const T&, std::string>;

template <class T>
inline constexpr bool is_text = is_string<T> || std::is_convertible_v<const T&, std::string_view> ||
                                std::is_convertible_v<const T&, std::u16string_view>;

/// Whether the function above takes them.
template <class Name, class... Texts>
inline constexpr bool are_strings_for_make_command =
    sizeof...(Texts) >= 1 && sizeof...(Texts) <= 10 && (is_string<Name> && ... && is_string<Texts>);

template <class Iterator, class = void>
inline constexpr bool points_to_text = false;  // It is no iterator.
template <class Iterator>
inline constexpr bool points_to_text<Iterator, std::void_t<decltype(*std::declval<Iterator&>())>> =
    is_text<std::decay_t<decltype(*std::declval<Iterator&>())>>;

template <class Text>
std::string utf8_of(const Text& text) {
  if constexpr (is_string<Text>) {
    return text;
  } else if constexpr (std::is_convertible_v<const Text&, std::string_view>) {
    return std::string(std::string_view(text));
  } else {
    return fl::i18n::ustring_to_utf8(std::u16string_view(text));
  }
}

}  // namespace detail

/// A command with all of [first, last).
template <
    class Name, class Iterator,
    std::enable_if_t<detail::is_text<Name> && !detail::is_text<Iterator> && detail::points_to_text<Iterator>, int> = 0>
command make_command(const Name& name, Iterator first, Iterator last) {
  command made(detail::utf8_of(name));
  for (; first != last; ++first) {
    made.args().push_back(detail::utf8_of(*first));
  }
  return made;
}

/// A command with all elements of `arguments`.
template <class Name, class Range,
          std::enable_if_t<detail::is_text<Name> && !detail::is_text<std::decay_t<Range>> &&
                               detail::points_to_text<decltype(std::begin(std::declval<Range&>()))>,
                           int> = 0>
command make_command(const Name& name, Range&& arguments) {
  command made(detail::utf8_of(name));
  for (const auto& argument : arguments) {
    made.args().push_back(detail::utf8_of(argument));
  }
  return made;
}

/// Likewise.
template <class Name, class Text, std::enable_if_t<detail::is_text<Name> && detail::is_text<Text>, int> = 0>
command make_command(const Name& name, std::initializer_list<Text> arguments) {
  return make_command(name, arguments.begin(), arguments.end());
}

/// A command with as many arguments as are given, which may be none.
template <class Name, class... Texts,
          std::enable_if_t<(detail::is_text<Name> && ... && detail::is_text<Texts>) &&
                               !detail::are_strings_for_make_command<Name, Texts...>,
                           int> = 0>
command make_command(const Name& name, const Texts&... arguments) {
  command made(detail::utf8_of(name));
  made.args().reserve(sizeof...(Texts));
  (made.args().push_back(detail::utf8_of(arguments)), ...);
  return made;
}

}  // namespace foundation::core::process

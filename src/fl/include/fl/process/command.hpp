// What to run: a program and its arguments, as plain values that can be compared, ordered and printed. Nothing is
// looked up or checked here, and nothing is quoted. One object belongs to one thread at a time; concurrent reads are
// safe.
//
// Batch files (.bat, .cmd) are run by the command interpreter, which splits their arguments once more and could
// find another command in one. A launch refuses a batch file whose name or one of whose arguments holds a quote, one of
// % ! ^ & | < > or a control character, and a name that the interpreter would cut: one that has no blank, and holds one
// of , ; = or begins with @ or a bracket. An argument with one of , ; = is let through; the file may see it cut.
#pragma once

#include <fl/export.hpp>
#include <fl/util/ustring.hpp>

#include <iosfwd>
#include <string>
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

  const std::string& name() const;
  command& name(const std::string& name);

  /// The arguments, without the program itself.
  std::vector<std::string>& args();
  const std::vector<std::string>& args() const;

 private:
  std::string name_;
  std::vector<std::string> args_;
};

FL_API bool operator==(const command& left, const command& right);
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

}  // namespace foundation::core::process

// How to run a command: environment, standard streams, directory, user, what is inherited. A plain value that can be
// copied, compared, ordered and printed; it touches the system only for its snapshot of the environment, and
// nothing is checked before a launch. One object belongs to one thread at a time; concurrent reads are safe.
//
// All narrow text is UTF-8 and reaches the child and the system as that text, whatever the active code page is. Names
// of files, users and variables, values and passwords that are not valid UTF-8 are read in that code page; only the
// environment of a child that runs as another user must be UTF-8.
//
// Who starts children side by side calls `explicitlyInheritHandles(true)`. Without it a child that inherits anything
// gets every inheritable handle of this process, the ends of pipes included that are at this moment meant for another
// child: such a pipe ends only when both children have ended. A launch closes the child's ends in this process, but
// cannot remove them from a sibling. And a child that inherits nothing at all, since its context names no stream,
// handle or pipe, knows the parent's standard handles by their numbers alone: on Windows its output is lost. With the
// call it has them.
#pragma once

#include <fl/export.hpp>
#include <fl/process/elevation_level.hpp>
#include <fl/process/environment_map.hpp>
#include <fl/process/inherited_handles.hpp>
#include <fl/process/iopipe_descriptor.hpp>
#include <fl/process/iopipe_device.hpp>
#include <fl/process/open_mode.hpp>
#include <fl/process/redirection.hpp>
#include <fl/util/ustring.hpp>

#include <boost/optional/optional.hpp>
#include <boost/smart_ptr/shared_ptr.hpp>

#include <iosfwd>
#include <map>
#include <memory>
#include <string>

namespace foundation::core::detail {
struct launch_attribute_access;
struct launch_attribute_list;
}  // namespace foundation::core::detail

namespace foundation::core::process {

/// How to run a command. A copy shares pipes with its source, and nothing else.
class FL_API context {
 public:
  /// Whose child it is to be. `name` is "USER", "USER@DOMAIN" or "DOMAIN\USER". The password is never printed.
  struct User {
    std::string name;      ///< in UTF-8
    std::string password;  ///< in UTF-8
  };

  /// The environment of this process, and no request of any kind. Of variables whose names differ only in case the
  /// first stays. Throws what making the snapshot throws.
  context();
  context(const context& other);
  /// Leaves this object as it was if the copy fails.
  context& operator=(const context& other);
  ~context();
  /// Exchanges everything with `other`.
  void swap(context& other);

  /// What the child gets as its environment: to look at and to change.
  environment_map& environment();
  const environment_map& environment() const;

  /// Where the child's standard input comes from: the parent's, unless set.
  context& std_in(const std_in_type& value);
  /// Where the child's standard output goes to: to the parent's, unless set.
  context& std_out(const std_out_type& value);
  /// Where the child's standard error goes to: to the parent's, unless set.
  context& std_err(const std_err_type& value);
  /// What was set.
  const std_in_type& std_in() const;
  /// What was set.
  const std_out_type& std_out() const;
  /// What was set.
  const std_err_type& std_err() const;

  /// The directory to start in; empty means the parent's. An empty optional clears it.
  context& directory(const boost::optional<std::string>& value);
  /// Sets, and never clears: `value` must not be empty.
  context& directory(const boost::optional<ustring>& value);
  /// `value` must not be null.
  context& directory(const char* value);
  context& directory(const char16_t* value);
  /// What was set.
  const boost::optional<std::string>& directory() const;

  /// Lets the child run under the logon of another user, with that user's profile loaded while the child lives. This
  /// process must hold the privileges "SeBackupPrivilege" and "SeRestorePrivilege", and the right to give a child
  /// another token. The child's environment is the user's own; of `environment()` it gets what the user has no variable
  /// of that name for. A launch uses the password where it lies, and does not log it; a copy in UTF-16, made where it
  /// has letters that the active code page may lack, is overwritten at once. The context and its copies keep it until
  /// they go.
  context& user(const std::string& name, const std::string& password);
  context& user(const ustring& name, const ustring& password);
  /// An empty optional clears the user.
  context& user(const boost::optional<User>& value);
  /// What was set.
  const boost::optional<User>& user() const;

  // Flags that are set to one or the other, or left alone (an empty optional): then the system decides.
  /// Whether the child is asked to begin with a hidden window.
  void hide_windows(bool value);
  void hide_windows(const boost::optional<bool>& value);
  boost::optional<bool> hide_windows() const;
  /// Whether the child runs without a console window of its own (CREATE_NO_WINDOW).
  void create_no_window(bool value);
  void create_no_window(const boost::optional<bool>& value);
  boost::optional<bool> create_no_window() const;
  /// Whether the child has no console at all (DETACHED_PROCESS).
  void detached_process(bool value);
  void detached_process(const boost::optional<bool>& value);
  boost::optional<bool> detached_process() const;
  /// Whether the child gets only the handles that this context names, and no other inheritable one (see above).
  void explicitlyInheritHandles(bool value);
  void explicitlyInheritHandles(const boost::optional<bool>& value);
  boost::optional<bool> explicitlyInheritHandles() const;

  /// `NonElevated` removes elevation from the child of an elevated process, and `user()` is ignored then; in any other
  /// process it changes nothing. `Elevated` asks the system's shell to start the child, which may ask the user; it
  /// changes nothing where `user()` is set. Of a child that is started so the id is not known, its window is hidden,
  /// and it gets neither the environment nor any handle of this context. Where the shell starts no new process the
  /// launch fails.
  void elevationLevel(ElevationLevel value);
  /// What was set.
  ElevationLevel elevationLevel() const;
  /// True sets `Elevated`; false sets `Unset`, not `NonElevated`.
  void elevated(bool value);
  /// True exactly when the level is `Elevated`.
  bool elevated() const;

  /// Further handles for the child. They stay the caller's, and must be inheritable; a launch with
  /// `explicitlyInheritHandles` marks them so.
  inherited_handles_type& inherited_handles();
  const inherited_handles_type& inherited_handles() const;

  /// The pipes for the child, with the open mode (1 read end, 2 write end) of what it gets.
  const std::map<iopipe_device, int>& inherited_pipes() const;
  /// Lets the child have the ends of `pipe` that `mode` names, and returns what the child needs to open them. Flushes
  /// the output side of `pipe` first, whatever state the stream is in; what cannot be written sets its badbit. A mode
  /// that names no end removes the pipe from the list and returns an empty descriptor. Without memory, throws
  /// std::bad_alloc and leaves the list as it was. A launch closes these ends in this process if it succeeds, and fails
  /// where one of them is closed before, so that a context with pipes is good for one child.
  iopipe_descriptor inherit_pipe(iopipe& pipe, int mode);
  template <class Mode, detail::standard_open_mode<Mode> = 0>
  iopipe_descriptor inherit_pipe(iopipe& pipe, Mode mode) {
    return inherit_pipe(pipe, detail::open_mode_of(mode));
  }

 private:
  friend struct core::detail::launch_attribute_access;

  environment_map environment_;
  std_in_type std_in_;
  std_out_type std_out_;
  std_err_type std_err_;
  boost::optional<std::string> directory_;
  boost::optional<User> user_;
  boost::shared_ptr<inherited_handles_type> inherited_handles_;  // never null, never shared
  std::map<iopipe_device, int> inherited_pipes_;                 // the mode as the caller gave it
  boost::optional<bool> detached_process_;
  boost::optional<bool> explicitly_inherit_handles_;
  boost::optional<bool> create_no_window_;
  boost::optional<bool> hide_windows_;
  ElevationLevel elevation_level_ = ElevationLevel::Unset;
  std::shared_ptr<const core::detail::launch_attribute_list> launch_attributes_;  // null as long as none was set
};

/// Equal in every field but the inherited pipes, text by its bytes.
FL_API bool operator==(const context& left, const context& right);

/// The first field that differs decides, in the order of the fields; the inherited pipes have no part in it. Contexts
/// that differ only by `Unset` and `NonElevated` are not equal, yet neither is less: as keys of a map they are one.
FL_API bool operator<(const context& left, const context& right);

/// For logs. The inherited pipes and the password are left out. Nothing is escaped.
FL_API std::ostream& operator<<(std::ostream& stream, const context& value);

/// Whether name and password are the same bytes.
FL_API bool operator==(const context::User& left, const context::User& right);
/// Prints the name; the password is left out.
FL_API std::ostream& operator<<(std::ostream& stream, const context::User& value);

}  // namespace foundation::core::process

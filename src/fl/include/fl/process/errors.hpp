// The exceptions of the process layer that are not about pipes. Values: copies are independent of each other and may be
// used on different threads. The special members stand in the DLL, so that a client catches exactly the class thrown
// there. Pipe errors are in <fl/process/iopipe_error.hpp>.
#pragma once

#include <fl/export.hpp>

#include <boost/exception/exception.hpp>
#include <boost/system/system_error.hpp>

#include <stdexcept>
#include <string>

namespace foundation::core::process {

/// A child could not be started. `what()` is "An error occurred while initializing child process: " and the reason.
class FL_API process_init_error : public std::runtime_error {
 public:
  /// `reason` ends what `what()` says.
  explicit process_init_error(const std::string& reason);
  process_init_error(const process_init_error& other) noexcept;
  process_init_error(process_init_error&& other) noexcept;
  process_init_error& operator=(const process_init_error& other) noexcept;
  process_init_error& operator=(process_init_error&& other) noexcept;
  ~process_init_error() override;
};

/// A child could not be ended. `what()` is "An error occurred while trying to kill child process: " and the reason.
class FL_API process_kill_error : public std::runtime_error {
 public:
  /// `reason` ends what `what()` says.
  explicit process_kill_error(const std::string& reason);
  process_kill_error(const process_kill_error& other) noexcept;
  process_kill_error(process_kill_error&& other) noexcept;
  process_kill_error& operator=(const process_kill_error& other) noexcept;
  process_kill_error& operator=(process_kill_error&& other) noexcept;
  ~process_kill_error() override;
};

/// The user that a child is to run as: the name is not given in a form that can be understood, name and password do not
/// belong together, the password has expired, or the account is disabled. `what()` is the reason, unchanged; it never
/// holds the password.
class FL_API process_bad_user : public std::runtime_error {
 public:
  /// `reason` is what `what()` says.
  explicit process_bad_user(const std::string& reason);
  process_bad_user(const process_bad_user& other) noexcept;
  process_bad_user(process_bad_user&& other) noexcept;
  process_bad_user& operator=(const process_bad_user& other) noexcept;
  process_bad_user& operator=(process_bad_user&& other) noexcept;
  ~process_bad_user() override;
};

/// A command does not exist. For clients to throw; this library does not. The code is 2 ("file not found") in
/// `boost::system::system_category()`. Further facts can be attached through `boost::exception`.
class FL_API command_not_found : public boost::system::system_error, public virtual boost::exception {
 public:
  /// `text` opens what `what()` says.
  explicit command_not_found(const std::string& text);
  command_not_found(const command_not_found& other);
  command_not_found(command_not_found&& other) noexcept;
  command_not_found& operator=(const command_not_found& other);
  command_not_found& operator=(command_not_found&& other) noexcept;
  ~command_not_found() noexcept override;

 protected:
  /// The command that was looked for, where a derived class knows it; else empty. Copies carry it along.
  std::string command_;
};

}  // namespace foundation::core::process

// Another user's logon in this process, with the user's profile loaded. Used by one thread at a time.
#pragma once

#include <fl/process/environment_map.hpp>

#include "common/windows/handle_closer.hpp"

#include <windows.h>

#include <string>
#include <vector>

namespace foundation::core::sysdep::windows {

class UserLogon {
 public:
  /// Logs `user` of `domain` on, and loads the profile; for that the privileges "SeBackupPrivilege" and
  /// "SeRestorePrivilege" are enabled in this process, and stay so. The password is handed on where it lies, without a
  /// copy; only where the system must have it in UTF-16 one is made, which is overwritten after the call. Throws
  /// process::process_bad_user, with the system's reason, if the system does not accept the user,
  /// boost::system::system_error for every other refusal.
  UserLogon(std::string user, std::string domain, const std::string& password);
  UserLogon(const UserLogon&) = delete;
  UserLogon& operator=(const UserLogon&) = delete;
  /// Unloads the profile and ends the logon. What the system says to that is ignored; the last error is kept.
  ~UserLogon();

  /// Borrowed.
  HANDLE token() const { return token_; }

  /// The environment block of the user with those of `environment` that the user does not have; in UTF-16, as
  /// CREATE_UNICODE_ENVIRONMENT asks for. Throws boost::system::system_error.
  std::vector<char16_t> environment_with(const process::environment_map& environment) const;

 private:
  void log_on(const std::string& password);
  void load_profile();

  std::string user_;
  std::string domain_;  // "." for the accounts of this machine
  HANDLE token_ = nullptr;
  const HandleCloser<HANDLE> token_closer_{token_};
  HANDLE profile_ = nullptr;  // unloaded before the token is closed
};

}  // namespace foundation::core::sysdep::windows

// Ends a user's logon when the child that runs under it ends, whatever has become of the child's object by then.
#pragma once

#include "common/windows/handle_closer.hpp"
#include "process/windows/token/user_logon.hpp"

#include <windows.h>

#include <atomic>
#include <memory>

namespace foundation::core::sysdep::windows {

class ProfileCleanup {
 public:
  /// Made before the child is created, so that nothing can fail for want of memory once it runs. `logon` is not null.
  explicit ProfileCleanup(std::unique_ptr<UserLogon> logon) : logon_(std::move(logon)) {}
  ProfileCleanup(const ProfileCleanup&) = delete;
  ProfileCleanup& operator=(const ProfileCleanup&) = delete;

  const UserLogon& logon() const { return *logon_; }

  /// Hands `record` to a thread of the system's pool, which ends the logon when `child` (borrowed) ends. Where the
  /// system refuses to watch the child the logon ends now: the child goes on, without its user's profile.
  static void start(std::unique_ptr<ProfileCleanup> record, HANDLE child) noexcept;

 private:
  bool duplicate_handle(HANDLE child);
  bool register_wait();
  static void CALLBACK on_child_ended(void* record, BOOLEAN timed_out);
  static void let_go(ProfileCleanup* record);

  std::unique_ptr<UserLogon> logon_;  // null once it has ended
  HANDLE process_ = nullptr;          // only good for waiting
  const HandleCloser<HANDLE> process_closer_{process_};
  HANDLE wait_ = nullptr;        // owned
  std::atomic<int> holders_{2};  // the launch, until the wait is registered, and the callback
};

}  // namespace foundation::core::sysdep::windows

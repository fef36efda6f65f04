#include "process/windows/token/profile_cleanup.hpp"

#include "loggers.hpp"
#include "util/keep_loaded.hpp"

namespace foundation::core::sysdep::windows {

namespace severity = log::severity;

bool ProfileCleanup::duplicate_handle(HANDLE child) {
  if (::DuplicateHandle(::GetCurrentProcess(), child, ::GetCurrentProcess(), &process_, SYNCHRONIZE, FALSE, 0)) {
    return true;
  }
  const DWORD code = ::GetLastError();
  loggers::process_impl.log(severity::error, "DuplicateHandle failed for profile cleanup: ", code);
  return false;
}

bool ProfileCleanup::register_wait() {
  if (::RegisterWaitForSingleObject(&wait_, process_, &on_child_ended, this, INFINITE, WT_EXECUTEONLYONCE)) {
    return true;
  }
  const DWORD code = ::GetLastError();
  loggers::process_impl.log(severity::error, "RegisterWaitForSingleObject failed for profile cleanup: ", code);
  return false;
}

void ProfileCleanup::start(std::unique_ptr<ProfileCleanup> record, HANDLE child) noexcept {
  if (!record->duplicate_handle(child)) {
    return;
  }
  util::keep_library_loaded();
  if (record->register_wait()) {
    let_go(record.release());
  }
}

void ProfileCleanup::on_child_ended(void* context, BOOLEAN) {
  const auto record = static_cast<ProfileCleanup*>(context);
  record->logon_.reset();
  let_go(record);
}

// The callback of a child that has ended already may come before the registration has stored the handle of the wait:
// whoever is last destroys the record.
void ProfileCleanup::let_go(ProfileCleanup* record) {
  if (--record->holders_ != 0) {
    return;
  }
  const std::unique_ptr<ProfileCleanup> last(record);
  ::UnregisterWaitEx(record->wait_, nullptr);
}

}  // namespace foundation::core::sysdep::windows

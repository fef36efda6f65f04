#include "process/windows/user_logon.hpp"

#include <fl/process/errors.hpp>
#include <fl/sysdep/windows/deelevate_utils.hpp>

#include "process/environment_block.hpp"
#include "process/windows/last_error.hpp"
#include "process/windows/text.hpp"

#include <windows.h>

// Behind windows.h, whose types it uses.
#include <userenv.h>

#include <boost/system/error_code.hpp>

#include <cwctype>
#include <utility>

namespace foundation::core::sysdep::windows {

namespace {

// What the caller can put right is told apart from what the system refuses for reasons of its own.
[[noreturn]] void throw_logon_failure(DWORD code) {
  if (code == ERROR_LOGON_FAILURE || code == ERROR_PASSWORD_EXPIRED || code == ERROR_ACCOUNT_DISABLED)
    throw process::process_bad_user(
        code_page_to_utf8(boost::system::system_category().message(static_cast<int>(code))));
  throw_last_error(code, "LogonUser");
}

char16_t to_upper(char16_t unit) {
  return static_cast<char16_t>(std::towupper(unit));
}

}  // namespace

UserLogon::UserLogon(std::string user, std::string domain, const std::string& password)
    : user_(std::move(user)), domain_(std::move(domain)) {
  log_on(password);
  EnablePrivilege("SeBackupPrivilege");
  EnablePrivilege("SeRestorePrivilege");
  load_profile();
}

UserLogon::~UserLogon() {
  const DWORD last_error = ::GetLastError();
  ::UnloadUserProfile(token_, profile_);
  ::SetLastError(last_error);
}

void UserLogon::log_on(const std::string& password) {
  if (!::LogonUserA(without_nul(user_, "name of the user").c_str(), without_nul(domain_, "domain of the user").c_str(),
                    without_nul(password, "password").c_str(), LOGON32_LOGON_INTERACTIVE, LOGON32_PROVIDER_DEFAULT,
                    &token_))
    throw_logon_failure(::GetLastError());
}

void UserLogon::load_profile() {
  PROFILEINFOA info = {};
  info.dwSize = sizeof info;
  info.dwFlags = PI_NOUI;
  info.lpUserName = user_.data();
  if (!::LoadUserProfileA(token_, &info))
    throw_last_error(::GetLastError(), "LoadUserProfile");
  profile_ = info.hProfile;
}

std::vector<char16_t> UserLogon::environment_with(const process::environment_map& environment) const {
  void* block = nullptr;
  const HandleCloser<void*> closer(block, [](void*& made) { ::DestroyEnvironmentBlock(made); });
  if (!::CreateEnvironmentBlock(&block, token_, FALSE))
    throw_last_error(::GetLastError(), "CreateEnvironmentBlock");
  return process::merged_environment_block(static_cast<const char16_t*>(block), environment, &to_upper);
}

}  // namespace foundation::core::sysdep::windows

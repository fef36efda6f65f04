#include "process/windows/token/user_logon.hpp"

#include <fl/process/errors.hpp>
#include <fl/sysdep/windows/deelevate_utils.hpp>

#include "common/windows/handle_closer.hpp"
#include "common/windows/late_function.hpp"
#include "process/launch_text/environment_block.hpp"
#include "process/launch_text/without_nul.hpp"
#include "process/windows/last_error.hpp"
#include "process/windows/native_text.hpp"

#include <boost/system/error_code.hpp>

#include <windows.h>
#include <userenv.h>

#include <utility>

namespace foundation::core::sysdep::windows {

namespace {

constinit late_function<decltype(::LoadUserProfileA)> load_user_profile_narrow
    [[gnu::section(".late")]]{"userenv.dll", "LoadUserProfileA"};
constinit late_function<decltype(::LoadUserProfileW)> load_user_profile_wide
    [[gnu::section(".late")]]{"userenv.dll", "LoadUserProfileW"};
constinit late_function<decltype(::UnloadUserProfile)> unload_user_profile
    [[gnu::section(".late")]]{"userenv.dll", "UnloadUserProfile"};
constinit late_function<decltype(::CreateEnvironmentBlock)> create_environment_block
    [[gnu::section(".late")]]{"userenv.dll", "CreateEnvironmentBlock"};
constinit late_function<decltype(::DestroyEnvironmentBlock)> destroy_environment_block
    [[gnu::section(".late")]]{"userenv.dll", "DestroyEnvironmentBlock"};

// What the caller can put right is raised apart from what the system refuses for reasons of its own.
[[noreturn]] void throw_logon_failure(DWORD code) {
  if (code == ERROR_LOGON_FAILURE || code == ERROR_PASSWORD_EXPIRED || code == ERROR_ACCOUNT_DISABLED) {
    throw process::process_bad_user(boost::system::system_category().message(static_cast<int>(code)));
  }
  throw_last_error(code, "LogonUser");
}

BOOL log_on_wide(const std::string& user, const std::string& domain, const std::string& password, HANDLE& token) {
  const std::wstring wide_user = to_native(user);
  const std::wstring wide_domain = to_native(domain);
  std::wstring wide_password = to_native(password);
  const BOOL done = ::LogonUserW(wide_user.c_str(), wide_domain.c_str(), wide_password.c_str(),
                                 LOGON32_LOGON_INTERACTIVE, LOGON32_PROVIDER_DEFAULT, &token);
  ::SecureZeroMemory(wide_password.data(), wide_password.size() * sizeof wide_password[0]);
  return done;
}

// `Info` and `name` are of the form, narrow or wide, that `load` wants. Null if the system refuses.
template <class Info, class Text>
HANDLE load_profile_of(late_function<BOOL WINAPI(HANDLE, Info*)>& load, HANDLE token, Text name) {
  Info info = {};
  info.dwSize = sizeof info;
  info.dwFlags = PI_NOUI;
  info.lpUserName = name.data();
  if (!load(token, &info)) {
    throw_last_error(::GetLastError(), "LoadUserProfile");
  }
  return info.hProfile;
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
  unload_user_profile(token_, profile_);
  ::SetLastError(last_error);
}

void UserLogon::log_on(const std::string& password) {
  process::without_nul(user_, "name of the user");
  process::without_nul(domain_, "domain of the user");
  process::without_nul(password, "password");
  const BOOL done = fits_narrow_calls({user_, domain_, password})
                        ? ::LogonUserA(user_.c_str(), domain_.c_str(), password.c_str(), LOGON32_LOGON_INTERACTIVE,
                                       LOGON32_PROVIDER_DEFAULT, &token_)
                        : log_on_wide(user_, domain_, password, token_);
  if (!done) {
    throw_logon_failure(::GetLastError());
  }
}

void UserLogon::load_profile() {
  profile_ = fits_narrow_calls({user_}) ? load_profile_of(load_user_profile_narrow, token_, user_)
                                        : load_profile_of(load_user_profile_wide, token_, to_native(user_));
}

std::vector<char16_t> UserLogon::environment_with(const process::environment_map& environment) const {
  void* block = nullptr;
  const HandleCloser<void*> closer(block, [](void*& made) { destroy_environment_block(made); });
  if (!create_environment_block(&block, token_, FALSE)) {
    throw_last_error(::GetLastError(), "CreateEnvironmentBlock");
  }
  return process::merged_environment_block(static_cast<const char16_t*>(block), environment, &to_upper, &utf8_to_utf16);
}

}  // namespace foundation::core::sysdep::windows

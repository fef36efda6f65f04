// Children under another user's logon. Wine has no other users: the logon, the privileges, the profile and the user's
// environment are answered by a script, through the import table of the library. The token is a real one, a duplicate
// of this process's own, the profile's handle is that of an event, and the children run.

#include <fl/process/testing.hpp>
#include <fl/sysdep/windows/process_impl.hpp>

#include "children.hpp"
#include "handle_leak.hpp"
#include "import_patch.hpp"
#include "launch_texts.hpp"

#include <gtest/gtest.h>

#include <windows.h>
#include <userenv.h>

#include <algorithm>
#include <atomic>
#include <memory>
#include <mutex>
#include <new>
#include <string>

using namespace launch_texts;
using namespace std::string_literals;
using foundation::core::sysdep::windows::process_impl;
using test_support::injected;
using test_support::loses_no_handle;
using test_support::scoped_variable;

namespace {

constexpr const char* library = "libqxfl.dll";
constexpr const char* secret = "pass word 4711";
const process::command program = children::command("exit", {"5"});

// Everything that is logged, of all channels.
const test_support::temp_dir log_folder;
const scoped_variable log_file("QX_LOG_FILE", log_folder.file("log")), log_level("QX_LOG", "*=all");

class scripted_users {
 public:
  process::context how;
  std::atomic<int> profiles_loaded = 0;

  injected<decltype(&::LogonUserA)> logon{library, "LogonUserA"};
  injected<decltype(&::OpenProcessToken)> open_token{library, "OpenProcessToken"};
  injected<decltype(&::LookupPrivilegeValueA)> privilege{library, "LookupPrivilegeValueA"};
  injected<decltype(&::AdjustTokenPrivileges)> adjust{library, "AdjustTokenPrivileges"};
  injected<decltype(&::LoadUserProfileA)> load{library, "LoadUserProfileA"};
  injected<decltype(&::UnloadUserProfile)> unload{library, "UnloadUserProfile"};
  injected<decltype(&::CreateEnvironmentBlock)> make_block{library, "CreateEnvironmentBlock"};
  injected<decltype(&::DestroyEnvironmentBlock)> destroy_block{library, "DestroyEnvironmentBlock"};
  injected<decltype(&::CreateProcessAsUserW)> create{library, "CreateProcessAsUserW"};
  injected<decltype(&::DuplicateHandle)> duplicate{library, "DuplicateHandle"};
  injected<decltype(&::RegisterWaitForSingleObject)> wait{library, "RegisterWaitForSingleObject"};
  injected<decltype(&::UnregisterWaitEx)> unregister{library, "UnregisterWaitEx"};
  injected<decltype(&::CloseHandle)> close{library, "CloseHandle"};

  scripted_users() {
    how.user("somebody", secret);
    how.std_out(process::discard());
    how.std_err(process::discard());
    attach_logon();
    attach_profile();
    attach_environment();
    attach_child();
  }

  /// The calls until now, of all threads.
  std::string record() const {
    const std::lock_guard lock(mutex_);
    return record_;
  }

  /// Waits until the record holds `call`.
  std::string record_with(const std::string& call) const {
    while (record().find(call) == std::string::npos) {
      ::Sleep(1);  // The watchdog ends a test that stays here.
    }
    return record();
  }

  /// What a logon gives.
  BOOL give_token(HANDLE* token) {
    HANDLE own = nullptr;
    ::OpenProcessToken(::GetCurrentProcess(), TOKEN_DUPLICATE, &own);
    ::DuplicateTokenEx(own, TOKEN_ALL_ACCESS, nullptr, SecurityImpersonation, TokenPrimary, token);
    ::CloseHandle(own);
    token_ = *token;
    return TRUE;
  }

 private:
  void note(const std::string& call) {
    const std::lock_guard lock(mutex_);
    record_ += (record_.empty() ? "" : ", ") + call;
  }

  void attach_logon() {
    logon.handle_with([this](auto, const char* user, const char* domain, const char* password, DWORD type,
                             DWORD provider, HANDLE* token) {
      note("logon " + std::string(user) + " " + domain + " " + std::to_string(type) + " " + std::to_string(provider));
      EXPECT_EQ(password, how.user()->password.c_str()) << "no copy is made of it";
      return give_token(token);
    });
    privilege.handle_with([this](auto, const char* system, const char* name, LUID* value) {
      note("privilege " + std::string(name));
      *value = {4711, 0};
      return system == nullptr;
    });
    adjust.handle_with([this](auto, HANDLE, BOOL disable, TOKEN_PRIVILEGES* privileges, auto...) {
      const LUID_AND_ATTRIBUTES& first = privileges->Privileges[0];
      note("enable " + std::to_string(privileges->PrivilegeCount) + " " + std::to_string(first.Luid.LowPart) + " " +
           std::to_string(first.Attributes));
      ::SetLastError(ERROR_SUCCESS);
      return !disable;
    });
  }

  void attach_profile() {
    load.handle_with([this](auto, HANDLE token, PROFILEINFOA* info) {
      note("load " + std::to_string(info->dwSize) + " " + std::to_string(info->dwFlags) + " " + info->lpUserName);
      EXPECT_FALSE(info->lpProfilePath || info->lpDefaultPath || info->lpServerName || info->lpPolicyPath);
      ++profiles_loaded;
      profile_ = info->hProfile = ::CreateEventW(nullptr, TRUE, FALSE, nullptr);
      return token == token_;
    });
    unload.handle_with([this](auto, HANDLE token, HANDLE profile) {
      EXPECT_TRUE(token == token_ && profile == profile_);
      ::CloseHandle(profile);
      --profiles_loaded;
      note("unload");
      ::SetLastError(ERROR_BUSY);  // which nobody is to see
      return FALSE;
    });
  }

  void attach_environment() {
    make_block.handle_with([this](auto, void** block, HANDLE token, BOOL inherit) {
      static wchar_t entries[] = L"=C:=C:\\\0zebra=1\0Path=the user's\0no sign\0";
      note("make block");
      *block = entries;
      return token == token_ && !inherit;
    });
    destroy_block.handle_with([this](auto, void*) {
      note("destroy block");
      return TRUE;
    });
  }

  void attach_child() {
    create.handle_with([this](auto original, HANDLE token, const wchar_t* name, wchar_t* line, SECURITY_ATTRIBUTES* p,
                              SECURITY_ATTRIBUTES* t, BOOL inherit, DWORD flags, void* environment, auto... rest) {
      EXPECT_EQ(token, token_);
      note("create " + std::to_string(flags));
      return original(token, name, line, p, t, inherit, flags, environment, rest...);
    });
    // The background wait for a child whose object has gone makes calls of the same kind: they are not noted.
    duplicate.handle_with([this](auto original, HANDLE from, HANDLE handle, HANDLE to, HANDLE* copy, DWORD access,
                                 BOOL inherit, DWORD options) {
      const BOOL made = original(from, handle, to, copy, access, inherit, options);
      if (access == SYNCHRONIZE && !inherit && options == 0) {
        note("duplicate");
        child_ = *copy;
      }
      return made;
    });
    wait.handle_with(
        [this](auto original, HANDLE* made, HANDLE child, auto callback, void* context, ULONG time, ULONG flags) {
          if (child != child_) {
            return original(made, child, callback, context, time, flags);
          }
          note("wait " + std::to_string(time) + " " + std::to_string(flags));
          const std::lock_guard lock(mutex_);  // until it is known, for the callback
          const BOOL result = original(made, child, callback, context, time, flags);
          wait_ = *made;
          return result;
        });
    unregister.handle_with([this](auto original, HANDLE made, HANDLE completion) {
      if (made == wait_) {
        note(completion ? "unregister and wait" : "unregister");
      }
      return original(made, completion);
    });
    close.handle_with([this](auto original, HANDLE handle) {
      if (handle == token_ || handle == child_) {
        note(handle == token_ ? "close token" : "close child");
        (handle == token_ ? token_ : child_) = nullptr;  // The value may come again.
      }
      return original(handle);
    });
  }

  mutable std::mutex mutex_;  // the end of a child is noted on a thread of the pool
  std::string record_;
  std::atomic<HANDLE> token_ = nullptr, child_ = nullptr, wait_ = nullptr, profile_ = nullptr;
};

const std::string until_the_child =
    "logon somebody . 2 0, privilege SeBackupPrivilege, enable 1 4711 2, privilege SeRestorePrivilege, "
    "enable 1 4711 2, load 56 1 somebody, make block, destroy block, create 525344";
const std::string watched = until_the_child + ", duplicate, wait 4294967295 8";
const std::string at_the_end = ", unload, close token, unregister, close child";

// Before handles are counted: a thread of the pool that has done its work holds some for a moment longer.
void let_the_pool_rest() {
  process::testing::join_all_async_procs();
  ::Sleep(50);
}

}  // namespace

TEST(UserLaunch, LogsOnLoadsTheProfileAndUnloadsItOnceWhenTheChildEnds) {
  for (const bool object_lives : {true, false}) {
    EXPECT_TRUE(loses_no_handle([&] {
      scripted_users system;
      children::common_event end;
      auto started = std::make_unique<process::process>(end.waiting(), system.how);
      EXPECT_EQ(system.record(), watched);
      if (!object_lives) {
        started.reset();
      }
      end.set();
      EXPECT_EQ(system.record_with("close child"), watched + at_the_end);
      started.reset();
      let_the_pool_rest();
    })) << object_lives;
  }
  scripted_users system;
  system.how.user("DOMAIN\\me@there", secret);
  EXPECT_EQ(text_of_launch<process::process_init_error>(program, system.how), "exit status 5");
  EXPECT_EQ(system.record_with("close child").rfind("logon me@there DOMAIN 2 0, ", 0), 0u);
}

// As in a system that tells the handle of the wait only after the callback has run.
TEST(UserLaunch, EndsTheLogonOnceIfTheChildEndsBeforeItsWaitIsKnown) {
  EXPECT_TRUE(loses_no_handle([] {
    scripted_users system;
    injected<BOOL (*)(HANDLE*, HANDLE, WAITORTIMERCALLBACK, void*, ULONG, ULONG)> late(library,
                                                                                       "RegisterWaitForSingleObject");
    late.handle_with([&](auto original, HANDLE* made, HANDLE child, auto... rest) {
      HANDLE wait = nullptr;
      const BOOL result = original(&wait, child, rest...);
      system.record_with("close token");
      *made = wait;
      return result;
    });
    EXPECT_EQ(text_of_launch<process::process_init_error>(program, system.how), "exit status 5");
    EXPECT_EQ(system.record_with("close child"), watched + at_the_end);
    let_the_pool_rest();
  }));
}

namespace {

/// A launch whose nth call of one function is refused: what it comes to, and the last calls that the script sees.
template <auto Call, class Exception = process::process_init_error, class Result>
void refuse(std::size_t nth, Result refusal, DWORD error, const std::string& expected, const std::string& last_calls) {
  SCOPED_TRACE(testing::Message() << nth << ", " << error << ", " << expected);
  EXPECT_TRUE(loses_no_handle([&] {
    scripted_users system;
    (system.*Call).fail_at(nth, refusal, error);
    EXPECT_EQ(text_of_launch<Exception>(program, system.how), expected);
    const std::string record = system.record();
    EXPECT_EQ(record.substr(record.size() - std::min(record.size(), last_calls.size())), last_calls);
    EXPECT_EQ(system.profiles_loaded, 0);
  }));
}

std::string failure(const std::string& call, DWORD code = injected_code) {
  return init_error_text(program, told(call, code));
}

}  // namespace

TEST(UserLaunch, ThatFailsSaysWhyAndLeavesNothingLoaded) {
  using s = scripted_users;
  const auto reason = [](DWORD number) { return boost::system::system_category().message(static_cast<int>(number)); };
  const std::string loaded = "load 56 1 somebody", ended = ", unload, close token";
  for (const DWORD number : {ERROR_LOGON_FAILURE, ERROR_PASSWORD_EXPIRED, ERROR_ACCOUNT_DISABLED}) {
    refuse<&s::logon, process::process_bad_user>(1, FALSE, number, bad_user_text(program, reason(number)), "");
  }
  for (const DWORD number : {ERROR_ACCOUNT_RESTRICTION, ERROR_ACCESS_DENIED}) {
    refuse<&s::logon>(1, FALSE, number, failure("LogonUser", number), "");
  }
  for (const std::size_t nth : {1, 2}) {
    refuse<&s::open_token>(nth, FALSE, injected_code, failure("OpenProcessToken"), "close token");
    refuse<&s::privilege>(nth, FALSE, injected_code, failure("LookupPrivilegeValue"), "close token");
    refuse<&s::adjust>(nth, FALSE, injected_code, failure("AdjustTokenPrivileges"), "close token");
    // Success that is none.
    refuse<&s::adjust>(nth, TRUE, ERROR_NOT_ALL_ASSIGNED, failure("AdjustTokenPrivileges", ERROR_NOT_ALL_ASSIGNED),
                       "close token");
  }
  refuse<&s::load>(1, FALSE, injected_code, failure("LoadUserProfile"), "enable 1 4711 2, close token");
  refuse<&s::make_block>(1, FALSE, injected_code, failure("CreateEnvironmentBlock"), loaded + ended);
  refuse<&s::create>(1, FALSE, injected_code, failure("CreateProcessAsUserW"), "make block, destroy block" + ended);
  // The child runs, but cannot be watched.
  refuse<&s::duplicate>(1, FALSE, injected_code, "exit status 5", "create 525344" + ended);
  refuse<&s::wait>(1, FALSE, injected_code, "exit status 5", "duplicate, close child" + ended);

  const std::string log = test_support::read_file(log_folder.file("log"));
  for (const char* const call : {"DuplicateHandle", "RegisterWaitForSingleObject"}) {
    const std::size_t at = log.find(call + (" failed for profile cleanup: " + std::to_string(injected_code)) + "\n");
    ASSERT_NE(at, std::string::npos) << call;
    const std::size_t line = log.rfind('\n', at) + 1;
    EXPECT_NE(log.substr(line, at - line).find("[fl::process::process_impl] error: "), std::string::npos) << call;
  }
  EXPECT_NE(log.find("process_impl::launch("), std::string::npos) << "the scope of a launch has its name";
  EXPECT_EQ(log.find(secret), std::string::npos);
}

TEST(UserLaunch, TakesNamesAndPasswordsInTheLettersOfAllLanguages) {
  scripted_users system;
  injected<decltype(&::LogonUserW)> wide_logon(library, "LogonUserW");
  injected<decltype(&::LoadUserProfileW)> wide_load(library, "LoadUserProfileW");
  wide_logon.handle_with([&](auto, auto user, auto domain, auto password, auto type, auto provider, HANDLE* token) {
    EXPECT_EQ(user + std::wstring(L"|") + domain + L"|" + password, L"J\u00fcrgen \u20ac|\u0414|\u4e2d\U0001f600");
    EXPECT_TRUE(type == LOGON32_LOGON_INTERACTIVE && provider == LOGON32_PROVIDER_DEFAULT);
    return system.give_token(token);
  });
  wide_load.handle_with([](auto, HANDLE, PROFILEINFOW* info) {
    EXPECT_TRUE(info->dwSize == 56 && info->dwFlags == PI_NOUI && info->lpUserName == L"J\u00fcrgen \u20ac"s);
    ::SetLastError(injected_code);
    return FALSE;
  });
  system.how.user("\u0414\\J\u00fcrgen \u20ac", "\u4e2d\U0001f600");
  EXPECT_EQ(text_of_launch<process::process_init_error>(program, system.how), failure("LoadUserProfile"));
  EXPECT_TRUE(system.record().ends_with("enable 1 4711 2, close token") && system.logon.calls() == 0);
}

// Each allocation of a launch in turn finds no memory, those behind the creation of the child included.
TEST(UserLaunch, ForWantOfMemoryLeavesNothingLoaded) {
  int launches = 0;
  int failures = 0;
  for (int nth = 1, count = nth; count >= nth; ++nth) {
    EXPECT_TRUE(loses_no_handle([&] {
      scripted_users system;
      system.how.environment() = {{"ours", "1"}};
      injected<void* (*)(std::size_t)> allocation(library, "_Znwy");
      count = 0;
      allocation.handle_with(
          [&](auto original, std::size_t bytes) { return ++count == nth ? throw std::bad_alloc() : original(bytes); });
      try {
        process_impl::launch(program, system.how);
        ++launches;
      } catch (const process::process_init_error&) {
        ++failures;
      }
      allocation.handle_with(nullptr);
      if (system.wait.calls() != 0) {
        system.record_with("close child");
        let_the_pool_rest();
      }
      EXPECT_EQ(system.profiles_loaded, 0);
    })) << "allocation "
        << nth;
  }
  EXPECT_TRUE(launches >= 1 && failures > 10) << launches << " and " << failures;
}

TEST(UserLaunch, RefusesANulThatWouldCutANameOrAPasswordShort) {
  scripted_users system;
  const std::string with_nul("some\0thing", 10);
  system.how.user("somebody", with_nul);
  EXPECT_EQ(text_of_launch<process::process_init_error>(program, system.how),
            init_error_text(program, "the password holds a NUL character"));
  system.how.user(with_nul, secret);
  EXPECT_EQ(text_of_launch<process::process_init_error>(program, system.how),
            init_error_text(program, "the name of the user holds a NUL character"));
}

TEST(UserLaunch, GivesTheChildTheUsersVariablesAndThenThoseOfTheContext) {
  scripted_users system;
  process::iopipe output(0);
  system.how.std_out(process::pipe_to(output));
  system.how.environment() = {{"PATH", "ours"}, {"\u00e4", "\u00f6"}, {"Yak", "2"}};
  process::process started(children::command("env"), system.how);
  EXPECT_EQ(children::read_all(output.device()).rfind("Path=the user's\nYak=2\nzebra=1\n\u00e4=\u00f6\n", 0), 0u);
  system.record_with("close child");
}

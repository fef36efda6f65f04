// Children under another user's logon. Wine has no other users: the logon, the privileges, the profile and the user's
// environment are answered by a script.

#include <fl/sysdep/windows/process_impl.hpp>

#include "children.hpp"
#include "every_test.hpp"
#include "launch_texts.hpp"
#include "scripted_tokens.hpp"

#include <regex>

using namespace launch_texts;
using foundation::core::sysdep::windows::process_impl;
using test_support::injected;
using test_support::loses_no_handle;
using test_support::scoped_variable;

namespace {

constexpr const char* secret = "pass word 4711";
const process::command program = children::command("exit", {"5"});

// Everything that is logged, of all channels.
const test_support::temp_dir log_folder;
const scoped_variable log_file("QX_LOG_FILE", log_folder.file("log")), log_level("QX_LOG", "*=all");

process::context as(const std::string& user, const std::string& password = secret) {
  process::context how;
  how.user(user, password);
  return how;
}

/// Why a launch failed.
std::string failure(const process::context& how) {
  return text_of_launch<process::process_init_error>(program, how);
}

const std::string enabled =
    "token of own 40, privilege SeBackupPrivilege, enable 1 4711 2, "
    "token of own 40, privilege SeRestorePrivilege, enable 1 4711 2";
const std::string watched = enabled + ", load 56 1 somebody, make block, destroy block, create 525344, wait -1 8";

}  // namespace

TEST(UserLaunch, LogsOnLoadsTheProfileAndUnloadsItOnceWhenTheChildEnds) {
  const process::context how = as("somebody");
  for (const bool object_lives : {true, false}) {
    EXPECT_TRUE(loses_no_handle([&] {
      scripted_tokens system;
      auto started = process_impl::launch(program, how);
      EXPECT_EQ(system.record, "logon somebody . 2 0, " + watched);
      EXPECT_EQ(system.password, how.user()->password.c_str()) << "no copy is made of it";
      if (!object_lives) {
        started.reset();
      }
      system.end_child();
      EXPECT_EQ(system.record, "logon somebody . 2 0, " + watched + ", unload, unregister");
    })) << object_lives;
  }
  EXPECT_TRUE(loses_no_handle([] {
    scripted_tokens system;
    system.ends_early = true;
    process_impl::launch(program, as("DOMAIN\\somebody"));
    EXPECT_EQ(system.record, "logon somebody DOMAIN 2 0, " + watched + ", unload, unregister");
  }));
}

TEST(UserLaunch, OfWhichACallIsRefusedSaysWhyAndLeavesNothingLoaded) {
  scripted_tokens system;
  process::context how = as("somebody");
  how.environment() = {{"ours", "1"}};
  const auto prepare = [&] {
    EXPECT_EQ(system.things_open, 0);
    system.begin_again();
    return [&] {
      const std::shared_ptr<void> at_the_end(nullptr, [&](void*) { system.end_child(); });
      process_impl::launch(program, how);
      return std::string("started");
    };
  };
  const test_support::refusal_outcomes expected = {
      {"AdjustTokenPrivileges", "2 x AdjustTokenPrivileges!"},
      {"CreateEnvironmentBlock", "CreateEnvironmentBlock!"},
      {"CreateProcessAsUserW", "CreateProcessAsUserW!"},
      {"DuplicateHandle", "Failed to duplicate STD_OUTPUT_HANDLE.! | Failed to duplicate STD_ERROR_HANDLE.! | started"},
      {"LoadUserProfileA", "LoadUserProfile!"},
      {"LogonUserA", "LogonUser!"},
      {"LookupPrivilegeValueA", "2 x LookupPrivilegeValue!"},
      {"MultiByteToWideChar", "5 x bad conversion"},
      {"OpenProcessToken", "2 x OpenProcessToken!"},
      {"new", "std::bad_alloc"}};
  EXPECT_EQ(reasons(program, test_support::refuse_each_call(prepare)), expected);

  const std::string log = test_support::read_file(log_folder.file("log"));
  for (const std::string call : {"DuplicateHandle", "RegisterWaitForSingleObject"}) {
    const std::regex told("\\[fl::process::process_impl\\] error: +" + call + " failed for profile cleanup: 1816\n");
    EXPECT_TRUE(std::regex_search(log, told)) << call;
  }
  EXPECT_NE(log.find("process_impl::launch("), std::string::npos) << "the scope of a launch has its name";
  EXPECT_EQ(log.find(secret), std::string::npos);
}

TEST(UserLaunch, TellsWhatTheCallerCanPutRightFromOtherRefusals) {
  scripted_tokens system;
  for (const DWORD number :
       std::initializer_list<DWORD>{ERROR_LOGON_FAILURE, ERROR_PASSWORD_EXPIRED, ERROR_ACCOUNT_DISABLED}) {
    system.logon.fail_always(FALSE, number);
    const std::string reason = boost::system::system_category().message(static_cast<int>(number));
    EXPECT_EQ(text_of_launch<process::process_bad_user>(program, as("somebody")), bad_user_text(program, reason));
  }
  for (const DWORD number : std::initializer_list<DWORD>{ERROR_ACCOUNT_RESTRICTION, ERROR_ACCESS_DENIED}) {
    system.logon.fail_always(FALSE, number);
    EXPECT_EQ(failure(as("somebody")), init_error_text(program, told("LogonUser", number)));
  }
  EXPECT_EQ(text_of_launch<process::process_bad_user>(program, as("domain\\")),
            bad_user_text(program,
                          "Failed to parse user string \"domain\\\". User must be specified as either USER@DOMAIN, "
                          "DOMAIN\\USER or USER."));
}

TEST(UserLaunch, FailsWithoutAPrivilegeThoughTheSystemCallsThatASuccess) {
  for (const unsigned nth : {1u, 2u}) {
    scripted_tokens system;
    system.adjust.fail_at(nth, TRUE, ERROR_NOT_ALL_ASSIGNED);
    EXPECT_EQ(failure(as("somebody")), init_error_text(program, told("AdjustTokenPrivileges", ERROR_NOT_ALL_ASSIGNED)));
    EXPECT_EQ(system.adjust.calls(), nth);
  }
}

TEST(UserLaunch, TakesNamesAndPasswordsInTheLettersOfAllLanguages) {
  scripted_tokens system;
  injected<decltype(&::LogonUserW)> logon(
      "LogonUserW", [&](auto, auto user, auto domain, auto password, auto type, auto provider, HANDLE* token) {
        EXPECT_EQ(user + std::wstring(L"|") + domain + L"|" + password, L"J\u00fcrgen \u20ac|\u0414|\u4e2d\U0001f600");
        EXPECT_TRUE(type == LOGON32_LOGON_INTERACTIVE && provider == LOGON32_PROVIDER_DEFAULT);
        return system.give_token(token, "user");
      });
  injected<decltype(&::LoadUserProfileW)> load("LoadUserProfileW", [](auto, HANDLE, PROFILEINFOW* info) {
    EXPECT_TRUE(info->dwSize == 56 && info->dwFlags == PI_NOUI);
    EXPECT_EQ(info->lpUserName, std::wstring(L"J\u00fcrgen \u20ac"));
    ::SetLastError(injected_code);
    return FALSE;
  });
  EXPECT_EQ(failure(as("\u0414\\J\u00fcrgen \u20ac", "\u4e2d\U0001f600")),
            init_error_text(program, told("LoadUserProfile")));
  EXPECT_EQ(system.record, enabled);
}

TEST(UserLaunch, GivesTheChildTheUsersVariablesAndThenThoseOfTheContext) {
  scripted_tokens system;
  system.real_children = true;
  process::iopipe output(0);
  process::context how = as("somebody");
  how.std_out(process::pipe_to(output));
  how.environment() = {{"PATH", "ours"}, {"\u00e4", "\u00f6"}, {"Yak", "2"}};
  process::process started(children::command("env"), how);
  EXPECT_EQ(children::read_all(output.device()).rfind("Path=the user's\nYak=2\nzebra=1\n\u00e4=\u00f6\n", 0), 0u);
  system.end_child();
  how.environment()["Latin"] = "\xE4";
  EXPECT_THROW(process_impl::launch(program, how), process::process_init_error) << "not UTF-8";
}

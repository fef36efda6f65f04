// Which way a child is started, the choice of a token without elevation, and the elevated launch. What Wine fakes or
// lacks (elevation, user account control, the Safer interface, an explorer of this user) is answered by a script,
// through the import table of the library; the children under the tokens that come of it are real, and so is the launch
// through the shell.

#include <fl/sysdep/windows/deelevate_utils.hpp>
#include <fl/sysdep/windows/process_impl.hpp>

#include "children.hpp"
#include "every_test.hpp"
#include "launch_texts.hpp"
#include "scripted_tokens.hpp"

#include <shellapi.h>

#include <regex>

namespace windows = foundation::core::sysdep::windows;
using namespace launch_texts;
using process::ElevationLevel;
using test_support::injected;
using test_support::loses_no_handle;
using windows::process_impl;

namespace {

const test_support::temp_dir log_folder;
const test_support::scoped_variable log_file("QX_LOG_FILE", log_folder.file("log")),
    log_level("QX_LOG", "fl::process::deelevate_utils=all");

process::context at_level(ElevationLevel level) {
  process::context how;
  how.elevationLevel(level);
  return how;
}

const process::command program = children::command("exit", {"5"});

/// Whose token a child that is to have no elevation is started under, or why it is not.
std::string outcome(scripted_tokens& system) {
  system.begin_again();
  try {
    process_impl::launch(program, at_level(ElevationLevel::NonElevated));
    return system.under;
  } catch (const process::process_init_error& e) {
    return e.what();
  }
}

}  // namespace

TEST(LaunchWay, IsChosenByElevationThenUserThenTheRequestForElevation) {
  scripted_tokens system;
  injected<decltype(&::ShellExecuteExA)> shell("ShellExecuteExA");
  injected<decltype(&::CreateProcessW)> plain("CreateProcessW");
  system.create.fail_always(FALSE, injected_code);
  system.logon.fail_always(FALSE, injected_code);
  shell.fail_always(FALSE, injected_code);
  plain.fail_always(FALSE, injected_code);
  for (const bool elevated : {true, false}) {
    for (const bool with_user : {true, false}) {
      for (const auto level : {ElevationLevel::Unset, ElevationLevel::Elevated, ElevationLevel::NonElevated}) {
        process::context how = at_level(level);
        if (with_user) {
          how.user("somebody", "secret");
        }
        system.elevated = elevated;
        const std::string expected = level == ElevationLevel::NonElevated && elevated ? "CreateProcessAsUserW"
                                     : with_user                                      ? "LogonUser"
                                     : level == ElevationLevel::Elevated              ? "::ShellExecuteExW"
                                                                                      : "CreateProcessW";
        EXPECT_EQ(text_of_launch<process::process_init_error>(program, how), init_error_text(program, told(expected)))
            << elevated << with_user << level;
      }
    }
  }
}

TEST(NonElevated, TokenIsThatOfTheShellIfUacIsOnAndItMayReplaceOneElseOfMediumIntegrity) {
  using script = scripted_tokens;
  script system;
  const windows::ReplaceTokenRight rights[] = {windows::ReplaceTokenPresent, windows::ReplaceTokenAbsent,
                                               windows::ReplaceTokenUnknown};  // as present, missing, unreadable
  for (const int uac : {1, 0, -1}) {
    for (const auto privilege : {script::present, script::missing, script::unreadable}) {
      for (const auto shell : {script::usable, script::used_elevated, script::absent}) {
        for (const bool medium_elevated : {false, true}) {
          const bool tries_shell = uac == 1 && privilege == script::present;
          const std::string expected = tries_shell && shell == script::usable ? "duplicate" : "medium";
          const std::string none =
              init_error_text(program, told("Cannot obtain a non-elevated token", ERROR_INVALID_TOKEN));
          SCOPED_TRACE(testing::Message() << uac << privilege << shell << medium_elevated);
          system.uac = uac;
          system.privilege = privilege;
          system.shell = shell;
          system.medium_elevated = medium_elevated;
          const bool clean = loses_no_handle(
              [&] { EXPECT_EQ(outcome(system), expected == "medium" && medium_elevated ? none : expected); });
          EXPECT_EQ(windows::IsUacEnabled(), uac);
          EXPECT_EQ(windows::CheckReplaceTokenPrivilege(),
                    rights[shell == script::absent ? script::unreadable : privilege]);
          EXPECT_EQ(windows::GetExplorerProcessId(), shell == script::absent ? 0 : ::GetCurrentProcessId());
          EXPECT_TRUE(shell != script::absent || windows::GetNonElevatedToken() == nullptr);
          // The one token that is abandoned is an elevated one of the shell.
          EXPECT_EQ(clean, !(tries_shell && shell == script::used_elevated));
        }
      }
    }
  }
}

TEST(NonElevated, ChildIsStartedByTheseCallsInThisOrder) {
  const std::string uac =
      "token of own 8, elevation of own, key SOFTWARE\\Microsoft\\Windows\\CurrentVersion\\Policies\\System 0 131097, "
      "EnableLUA, close key, ";
  const std::string foreign = "token of own 8, snapshot 2 0, open foreign 1024, token of foreign 8, ";
  const std::string explorer = foreign + "open shell 1024, token of shell 8, ";
  scripted_tokens system;
  ASSERT_EQ(outcome(system), "duplicate");
  EXPECT_EQ(system.record,
            uac + explorer + "open shell 1024, token of shell 8, " + explorer +
                "open shell 1024, token of shell 2, duplicate shell 983551 2 1, elevation of duplicate, create 524288");
  system.uac = 0;
  system.shell = system.absent;
  const injected<decltype(&::LocalFree)> freeing("LocalFree");
  ASSERT_EQ(outcome(system), "medium");
  EXPECT_EQ(freeing.calls(), 1u) << "of the integrity's identifier";
  EXPECT_EQ(system.record, uac + foreign +
                               "level 2 131072 1, restricted token, set medium 25 S-1-16-8192 32 16, close level, "
                               "elevation of medium, create 524288");
}

TEST(NonElevated, ChildGetsTheEnvironmentAndTheStreamsOfItsContext) {
  const test_support::scoped_variable of_the_parent("QXFL_TEST_TIMEOUT", "60");
  scripted_tokens system;
  system.real_children = true;
  process::iopipe output(0), extra;
  process::context how = children::output_to(output);
  how.elevationLevel(ElevationLevel::NonElevated);
  how.user("ignored", "secret");
  how.environment() = {{"Empty", ""}, {"Only", "this"}, {"QXFL", "that"}};
  how.inherit_pipe(extra, process::open_mode::write);
  process::process started(children::command("env"), how);
  EXPECT_FALSE(extra.is_open_for_write());
  // Wine puts variables of its own behind them.
  const std::string block = children::read_all(output.device());
  EXPECT_EQ(block.rfind("Empty=\nOnly=this\nQXFL=that\n", 0), 0u) << block;
  EXPECT_EQ(block.find("QXFL_TEST_TIMEOUT"), std::string::npos) << block;
  EXPECT_EQ(started.exit_status(), 0u);
  EXPECT_EQ(system.under, "duplicate");
}

// With user account control, and without it.
TEST(NonElevated, LaunchSurvivesEachRefusalThatLeavesAnotherWay) {
  scripted_tokens system;
  const auto prepare = [&] {
    EXPECT_EQ(system.things_open, 0);
    system.begin_again();
    return [&] {
      process_impl::launch(program, at_level(ElevationLevel::NonElevated));
      return system.under;
    };
  };
  const std::string unconfirmed = "Cannot de-elevate: cannot confirm if process is elevated.!";
  const std::string not_medium = "Cannot get medium integrity token: ";
  test_support::refusal_outcomes expected = {
      {"CreateProcessAsUserW", "CreateProcessAsUserW!"},
      {"CreateToolhelp32Snapshot", "2 x medium"},
      {"DuplicateHandle", "Failed to duplicate STD_OUTPUT_HANDLE.! | Failed to duplicate STD_ERROR_HANDLE.!"},
      {"DuplicateTokenEx", "medium"},
      {"EqualSid", "duplicate | medium | duplicate | medium"},
      {"GetTokenInformation", unconfirmed + " | 2 x medium | 2 x duplicate | 6 x medium | 2 x duplicate | 3 x medium"},
      {"MultiByteToWideChar", "3 x bad conversion"},
      {"OpenProcess", "duplicate | 2 x medium | duplicate | 2 x medium"},
      {"OpenProcessToken", unconfirmed + " | medium | duplicate | 3 x medium | duplicate | 2 x medium"},
      {"Process32First", "2 x medium"},
      {"Process32Next", "6 x medium"},
      {"RegOpenKeyExA", "medium"},
      {"RegQueryValueExA", "medium"},
      {"new", "bad_alloc: std::bad_alloc | std::bad_alloc"}};
  EXPECT_EQ(reasons(program, test_support::refuse_each_call(prepare)), expected);
  system.uac = 0;
  expected = {{"ConvertStringSidToSidA", not_medium + "ConvertStringSidToSid failed!"},
              {"CreateProcessAsUserW", "CreateProcessAsUserW!"},
              {"DuplicateHandle", expected["DuplicateHandle"]},
              {"GetTokenInformation", unconfirmed + " | 8 x medium | " + unconfirmed},
              {"MultiByteToWideChar", "3 x bad conversion"},
              {"OpenProcessToken", unconfirmed + " | 4 x medium"},
              {"SaferComputeTokenFromLevel", not_medium + "SaferComputeTokenFromLevel failed!"},
              {"SaferCreateLevel", not_medium + "SaferCreateLevel failed!"},
              {"SetTokenInformation", not_medium + "SetTokenInformation failed!"},
              {"new", expected["new"]}};
  EXPECT_EQ(reasons(program, test_support::refuse_each_call(prepare)), expected);

  const std::string log = test_support::read_file(log_folder.file("log"));
  for (const std::string note :
       {"Explorer.exe not found.", "Failed to open explorer.exe process.",
        "Failed to open process token for explorer.exe", "Failed to get token information size", "Privilege found",
        "Privilege not found", "Cannot determine UAC status"}) {
    EXPECT_TRUE(std::regex_search(log, std::regex("deelevate_utils\\] note: +" + note + "\n"))) << note;
  }
}

TEST(Elevated, ChildIsStartedByTheShell) {
  const process::command what = children::command("exit", {"5", "", "a \"b\""});
  const process::command wide = process::make_command("C:\\J\u00fcrgen \u20ac.exe", "%\u4e2d\U0001f600");
  injected<decltype(&::ShellExecuteExA)> shell("ShellExecuteExA", [&](auto original, auto request) {
    EXPECT_EQ(request->cbSize, 112u);
    EXPECT_TRUE(request->fMask == SEE_MASK_NOCLOSEPROCESS && request->nShow == SW_HIDE);
    EXPECT_EQ(
        request->lpVerb + std::string("|") + request->lpFile + "|" + request->lpParameters + "|" + request->lpDirectory,
        "runas|" + what.name() + "|exit 5  \"a \\\"b\\\"\" |.");
    return original(request);
  });
  const injected<decltype(&::ShellExecuteExW)> wide_shell("ShellExecuteExW", [&](auto, auto request) {
    EXPECT_EQ(request->lpVerb + std::wstring(L"|") + request->lpFile + L"|" + request->lpParameters + L"|" +
                  request->lpDirectory,
              L"runas|C:\\J\u00fcrgen \u20ac.exe|%\u4e2d\U0001f600 |.");
    ::SetLastError(ERROR_CANCELLED);
    return FALSE;
  });
  process::iopipe output;
  process::context how = children::output_to(output);
  how.elevationLevel(ElevationLevel::Elevated);
  {
    process::process started(what, how);  // for real; a system with elevation may ask its user
    EXPECT_EQ(started.id(), 0);
    EXPECT_EQ(started.exit_status(), 5u);
  }
  EXPECT_TRUE(output.is_open_for_read() && !output.is_open_for_write());
  how = at_level(ElevationLevel::Elevated);
  const std::string cancelled = told("::ShellExecuteExW", ERROR_CANCELLED);
  EXPECT_EQ(text_of_launch<process::process_init_error>(wide, how), init_error_text(wide, cancelled));
  shell.handle_with([](auto...) { return TRUE; });  // success, but no process
  EXPECT_EQ(text_of_launch<process::process_init_error>(what, how),
            init_error_text(what, "the system's shell started no process of its own, so there is nothing to follow"));
  shell.fail_always(FALSE, ERROR_CANCELLED);
  EXPECT_TRUE(loses_no_handle(
      [&] { EXPECT_EQ(text_of_launch<process::process_init_error>(what, how), init_error_text(what, cancelled)); }));
}

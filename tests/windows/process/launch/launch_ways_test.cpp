// Which way a child is started, the choice of a token without elevation, and the elevated launch. What Wine fakes or
// lacks (elevation, user account control, the Safer interface, an explorer of this user) is answered by a script,
// through the import table of the library; the children under the tokens that come of it are real, and so is the launch
// through the shell.

#include <fl/sysdep/windows/deelevate_utils.hpp>

#include "children.hpp"
#include "handle_leak.hpp"
#include "launch_texts.hpp"
#include "scripted_tokens.hpp"

#include <gtest/gtest.h>

#include <shellapi.h>

#include <regex>
#include <string>

namespace windows = foundation::core::sysdep::windows;
using namespace launch_texts;
using process::ElevationLevel;
using test_support::injected;
using test_support::loses_no_handle;

namespace {

constexpr const char* library = "libqxfl.dll";

const test_support::temp_dir log_folder;
const test_support::scoped_variable log_file("QX_LOG_FILE", log_folder.file("log")),
    log_level("QX_LOG", "fl::process::deelevate_utils=all");

process::context at_level(ElevationLevel level) {
  process::context how;
  how.elevationLevel(level);
  return how;
}

const process::command program = children::command("exit", {"5"});

/// Whose token a child that is to have no elevation was started under, or why it was not.
std::string outcome(scripted_tokens& system) {
  const std::string text = text_of_launch<process::process_init_error>(program, at_level(ElevationLevel::NonElevated));
  return text == "exit status 5" ? system.under : text;
}

const std::string no_token = init_error_text(program, told("Cannot obtain a non-elevated token", ERROR_INVALID_TOKEN));
const std::string unconfirmed = told("Cannot de-elevate: cannot confirm if process is elevated.");

}  // namespace

TEST(LaunchWay, IsChosenByElevationThenUserThenTheRequestForElevation) {
  scripted_tokens system;
  injected<decltype(&::LogonUserA)> logon(library, "LogonUserA");
  injected<decltype(&::ShellExecuteExA)> shell(library, "ShellExecuteExA");
  injected<decltype(&::CreateProcessW)> plain(library, "CreateProcessW");
  system.create.fail_always(FALSE, injected_code);
  logon.fail_always(FALSE, injected_code);
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
  using system_type = scripted_tokens;
  for (const int uac : {1, 0, -1}) {
    for (const auto privilege : {system_type::present, system_type::missing, system_type::unreadable}) {
      for (const auto shell : {system_type::usable, system_type::used_elevated, system_type::absent}) {
        for (const bool medium_elevated : {false, true}) {
          const bool tries_shell = uac == 1 && privilege == system_type::present;
          const std::string expected = tries_shell && shell == system_type::usable ? "duplicate"
                                       : medium_elevated                           ? no_token
                                                                                   : "medium";
          SCOPED_TRACE(testing::Message() << uac << privilege << shell << medium_elevated);
          const bool clean = loses_no_handle([&] {
            scripted_tokens system;
            system.uac = uac;
            system.privilege = privilege;
            system.shell = shell;
            system.medium_elevated = medium_elevated;
            EXPECT_EQ(outcome(system), expected);
          });
          // The one token that is abandoned is an elevated one of the shell.
          EXPECT_EQ(clean, !(tries_shell && shell == system_type::used_elevated));
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
  {
    scripted_tokens system;
    ASSERT_EQ(outcome(system), "duplicate");
    EXPECT_EQ(system.record,
              uac + explorer + "open shell 1024, token of shell 8, " + explorer +
                  "open shell 1024, token of shell 2, duplicate shell 983551 2 1, elevation of duplicate");
  }
  scripted_tokens system;
  system.uac = 0;
  system.shell = system.absent;
  ASSERT_EQ(outcome(system), "medium");
  EXPECT_EQ(system.record, uac + foreign +
                               "level 2 131072 1, restricted token, set medium 25 S-1-16-8192 32 16, close level, "
                               "elevation of medium");
}

TEST(NonElevated, ChildGetsTheEnvironmentAndTheStreamsOfItsContext) {
  const test_support::scoped_variable of_the_parent("QXFL_TEST_TIMEOUT", "60");
  scripted_tokens system;
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

namespace {

// What comes of a launch when the first, the second … call of a function is refused: D, the shell's duplicate, M, the
// token of medium integrity, or !, a failure with this text.
template <auto Call, class Result>
void refuse_each(int uac, Result refusal, const std::string& expected, const std::string& text = "") {
  for (std::size_t nth = 1; nth <= expected.size(); ++nth) {
    SCOPED_TRACE(testing::Message() << "call " << nth << " of those refused with: " << text);
    EXPECT_TRUE(loses_no_handle([&] {
      scripted_tokens system;
      system.uac = uac;
      (system.*Call).fail_at(nth, refusal, injected_code);
      const std::string came = outcome(system);
      EXPECT_EQ(came == "duplicate" ? 'D' : came == "medium" ? 'M' : '!', expected[nth - 1]) << came;
      EXPECT_EQ(expected[nth - 1] == '!' ? came : "", expected[nth - 1] == '!' ? init_error_text(program, text) : "");
      EXPECT_GE((system.*Call).calls(), nth);
      EXPECT_TRUE(system.levels_open == 0 && system.open_sid == nullptr);
    }));
  }
}

}  // namespace

TEST(NonElevated, LaunchSurvivesEachRefusalThatLeavesAnotherWay) {
  using s = scripted_tokens;
  const std::string medium = "Cannot get medium integrity token: ";
  refuse_each<&s::open_token>(1, FALSE, "!MDMMMDMM", unconfirmed);
  refuse_each<&s::ask_token>(1, FALSE, "!MMDDMMMMMMDDMMM", unconfirmed);
  refuse_each<&s::ask_token>(0, FALSE, "!MMMMMMMM!", unconfirmed);
  refuse_each<&s::snapshot>(1, INVALID_HANDLE_VALUE, "MM");
  refuse_each<&s::first_process>(1, FALSE, "MM");
  refuse_each<&s::next_process>(1, FALSE, "MMMMMM");
  refuse_each<&s::open_process>(1, nullptr, "DMMDMM");
  refuse_each<&s::equal_users>(1, FALSE, "DMDM");
  refuse_each<&s::privilege_name>(1, FALSE, "DDDD");
  refuse_each<&s::duplicate>(1, FALSE, "M");
  refuse_each<&s::open_key>(1, LSTATUS{ERROR_ACCESS_DENIED}, "M");
  refuse_each<&s::create>(1, FALSE, "!", told("CreateProcessAsUserW"));
  refuse_each<&s::query_value>(0, LSTATUS{ERROR_ACCESS_DENIED}, "M");
  refuse_each<&s::safer_level>(0, FALSE, "!", told(medium + "SaferCreateLevel failed"));
  refuse_each<&s::safer_token>(0, FALSE, "!", told(medium + "SaferComputeTokenFromLevel failed"));
  refuse_each<&s::make_sid>(0, FALSE, "!", told(medium + "ConvertStringSidToSid failed"));
  refuse_each<&s::set_token>(0, FALSE, "!", told(medium + "SetTokenInformation failed"));

  const std::string log = test_support::read_file(log_folder.file("log"));
  for (const std::string note :
       {"Explorer.exe not found.", "Failed to open explorer.exe process.",
        "Failed to open process token for explorer.exe", "Failed to get token information size", "Privilege found",
        "Privilege not found", "Cannot determine UAC status"}) {
    EXPECT_TRUE(std::regex_search(log, std::regex("deelevate_utils\\] note: +" + note + "\n"))) << note;
  }
}

TEST(ElevationQuestions, AnswerWithoutAnExceptionWhatCannotBeFoundOut) {
  scripted_tokens system;
  system.privilege = system.missing;
  EXPECT_EQ(windows::CheckReplaceTokenPrivilege(), windows::ReplaceTokenAbsent);
  EXPECT_EQ(windows::GetExplorerProcessId(), ::GetCurrentProcessId());
  system.shell = system.absent;
  EXPECT_EQ(windows::CheckReplaceTokenPrivilege(), windows::ReplaceTokenUnknown);
  EXPECT_EQ(windows::GetNonElevatedToken(), nullptr);
  EXPECT_EQ(windows::IsUacEnabled(), 1);
  system.uac = 0;
  EXPECT_EQ(windows::IsUacEnabled(), 0);
  system.uac = -1;
  EXPECT_EQ(windows::IsUacEnabled(), -1);
}

TEST(Elevated, ChildIsStartedByTheShell) {
  injected<decltype(&::ShellExecuteExA)> shell(library, "ShellExecuteExA");
  const process::command what = children::command("exit", {"5", "", "a \"b\""});
  shell.handle_with([&](auto original, SHELLEXECUTEINFOA* request) {
    EXPECT_EQ(request->cbSize, 112u);
    EXPECT_EQ(request->fMask, DWORD{SEE_MASK_NOCLOSEPROCESS});
    EXPECT_STREQ(request->lpVerb, "runas");
    EXPECT_EQ(request->lpFile, what.name());
    EXPECT_STREQ(request->lpParameters, "exit 5  \"a \\\"b\\\"\" ");
    EXPECT_STREQ(request->lpDirectory, ".");
    EXPECT_EQ(request->nShow, SW_HIDE);
    return original(request);
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
  injected<decltype(&::ShellExecuteExW)> wide_shell(library, "ShellExecuteExW");
  wide_shell.handle_with([&](auto, SHELLEXECUTEINFOW* request) {
    EXPECT_EQ(request->lpVerb + std::wstring(L"|") + request->lpFile + L"|" + request->lpParameters + L"|" +
                  request->lpDirectory,
              L"runas|C:\\J\u00fcrgen \u20ac.exe|\u4e2d\U0001f600 |.");
    ::SetLastError(ERROR_CANCELLED);
    return FALSE;
  });
  shell.handle_with([](auto...) { return TRUE; });  // success, but no process
  EXPECT_EQ(text_of_launch<process::process_init_error>(what, how),
            init_error_text(what, "the system's shell started no process of its own, so there is nothing to follow"));
  const process::command wide = process::make_command("C:\\J\u00fcrgen \u20ac.exe", "\u4e2d\U0001f600");
  EXPECT_EQ(text_of_launch<process::process_init_error>(wide, how),
            init_error_text(wide, told("::ShellExecuteExW", ERROR_CANCELLED)));
  EXPECT_TRUE(loses_no_handle([&] {
    shell.fail_always(FALSE, ERROR_CANCELLED);
    EXPECT_EQ(text_of_launch<process::process_init_error>(what, how),
              init_error_text(what, told("::ShellExecuteExW", ERROR_CANCELLED)));
  }));
}

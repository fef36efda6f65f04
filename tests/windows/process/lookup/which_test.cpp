// Looking commands up in real directories. PATHEXT is read once in a process, so it is set for all tests before the
// first lookup; what another one does is seen from outside, in which_child.

#include <fl/process/which.hpp>

#include "every_test.hpp"
#include "import_patch.hpp"
#include "support.hpp"

#include <boost/filesystem/exception.hpp>
#include <boost/optional/optional_io.hpp>

#include <windows.h>

#include <filesystem>
#include <regex>

namespace {

using foundation::core::process::which;
using test_support::injected;
using test_support::scoped_variable;
using test_support::write_file;
using found = boost::optional<std::string>;

const scoped_variable extensions("PATHEXT", ".com;.EXE;.PS1;.Bat;");

/// The current directory is a new folder with the folders A and B.
class Which : public testing::Test {
 protected:
  Which() {
    std::filesystem::current_path(root_.file(""));
    std::filesystem::create_directory("A");
    std::filesystem::create_directory("B");
  }
  ~Which() override { std::filesystem::current_path(former_); }

  const test_support::temp_dir root_{"which"};

 private:
  const std::filesystem::path former_ = std::filesystem::current_path();
};

}  // namespace

TEST_F(Which, TellsTheLogEachStepAndReadsPathextOnceInAProcess) {
  std::filesystem::create_directory("A\\tool.exe");
  write_file("A\\tool.bat", "");
  write_file("B\\tool.exe", "");
  const scoped_variable level("QX_LOG", "fl::process::which=all");
  const struct {
    std::string name, path, extensions, found, notes;
  } cases[] = {
      {"tool", "A;;B;", ".dll;.exe", "B\\tool.exe", R"(Using the environment variable PATHEXT.
 pathext_val=.dll;.exe pathext.size()=2
 path_val=A;;B; search_path.size()=4
Searching for tool ...
which_impl: Failed to find tool
Did not find 'tool'.
Trying extensions...(blank)
 ext=.dll
Searching for tool.dll ...
which_impl: Failed to find tool.dll
 ext=.exe
Searching for tool.exe ...
which_impl: Found B\tool.exe
 ans= B\tool.exe)"},
      {"tool", "", "", "nothing", R"(The environment variable PATHEXT is empty.
 pathext_val= pathext.size()=0
Environment variable PATH is empty.
Searching for tool ...
which_impl: Failed to find tool
Did not find 'tool'.
No extensions to try.)"},
      {"B\\tool.exe", "", ".exe", "B\\tool.exe", R"(Using the environment variable PATHEXT.
 pathext_val=.exe pathext.size()=1
Environment variable PATH is empty.
Command exists: 'B\tool.exe'
Found B\tool.exe' B\tool.exe')"},
  };
  for (const auto& [name, path, pathext, found_file, notes] : cases) {
    const scoped_variable search("PATH", path), endings("PATHEXT", pathext);
    const auto child = test_support::run_child("which_child", name);
    std::string told = child.err;
    for (const auto& [pattern, text] : {std::pair("\r|.*\\[fl::process::which\\] (note:   )?", ""),
                                        {" \n", "(blank)\n"},
                                        {R"((scope_\w+:) .*core::process::windows::.*(which_impl)\(.*)", "$1 $2"}}) {
      told = std::regex_replace(told, std::regex(pattern), text);
    }
    EXPECT_EQ(std::regex_replace(child.out, std::regex("\r"), ""), found_file + "\n" + found_file + "\n");
    EXPECT_EQ(told, "scope_entry: which_impl\narguments:    command_name=" + name + "\n" + notes +
                        "\nscope_exit: which_impl\n");
  }
}

TEST_F(Which, FindsWhatRunsByEachEndingInTurnAsItStandsAndThenInEachFolderOfPath) {
  const std::string green = root_.file("gr\u00fcn & \u4e2d\u6587"), smile = "\\t.2\U0001f600";
  std::filesystem::create_directory(test_support::widen(green));
  std::filesystem::create_directory("A\\folder.exe");
  for (const std::string& file : {root_.file("here.exe"), green + smile + ".exe"}) {
    write_file(file, "");
  }
  for (const char* const file : {"A\\two.bat", "B\\two.com", "B\\folder.exe", "B\\script.ps1", "B\\plain"}) {
    write_file(root_.file(file), "");
  }
  const struct {
    std::string name, path;
    found expected;
  } rows[] = {
      {"here", "B", found("here.EXE")},
      {"here.exe", "", found("here.exe")},
      {"two", "A;B", found("B\\two.com")},
      {"two.bat", "B/;none;A/", found("A/two.bat")},
      {"two.bat", "B\\;\"A\"", boost::none},
      {"A\\two", "", found("A\\two.Bat")},
      {"B\\two", "A;.;", found("B\\two.com")},
      {"A\\two.bat", "B;" + root_.file(""), found("A\\two.bat")},
      {"folder.exe", "A;;B", found("B\\folder.exe")},
      {"script", "B", boost::none},
      {"plain", "B", boost::none},
      {"two.bat", "\\\\no-such-server\\share;\\\\?\\;C:;nul;?*;" + std::string(32'000, 'x') + ";A",
       found("A\\two.bat")},
      {"t.2\U0001f600", "A;" + green, found(green + smile + ".EXE")},
      {green + smile, "A", found(green + smile + ".EXE")},
  };
  for (const auto& [name, path, expected] : rows) {
    const scoped_variable search("PATH", path);
    EXPECT_EQ(which(name), expected) << name << " in " << path;
  }
  for (const std::string ending : {"Com", "exe", "BAT", "cmd", "vbs", "VBE", "js", "JSE", "wsf", "WSH", "msc", "dll"}) {
    const std::string name = "known." + ending;
    write_file(name, "");
    EXPECT_EQ(which(name), ending == "dll" ? found() : found(name));
  }
}

TEST_F(Which, IsAskedByEightThreadsAtOnceWhenPathHasChanged) {
  write_file("A\\tool.bat", "");
  write_file("B\\tool.bat", "");
  for (int round = 0; round != 30; ++round) {
    const std::string folder = round % 2 ? "A" : "B";
    const scoped_variable path("PATH", "none;" + folder);
    std::vector<found> answers(8);
    std::vector<std::jthread> threads;
    for (found& answer : answers) {
      threads.emplace_back([&answer] { answer = which("tool"); });
    }
    threads.clear();  // joins
    ASSERT_EQ(answers, std::vector<found>(8, found(folder + "\\tool.Bat")));
  }
}

// Administrators may look everywhere, so the refusal is injected.
TEST_F(Which, LetsARefusedLookAtACandidateOut) {
  write_file("tool.exe", "");
  const injected<DWORD (*)(DWORD, LPCVOID, DWORD, DWORD, LPWSTR, DWORD, char**)> message(
      "FormatMessageW", [](auto, auto, auto, auto, auto, LPWSTR made, auto, auto) -> DWORD {
        auto* const text = static_cast<wchar_t*>(LocalAlloc(LPTR, 5 * sizeof(wchar_t)));
        *reinterpret_cast<wchar_t**>(made) = std::wcscpy(text, L"\u0416.\r\n");
        return 4;
      });
  {
    injected<decltype(&CreateFileW)> opening("libboost_filesystem.dll", "CreateFileW");
    injected<decltype(&GetFileAttributesW)> looking("libboost_filesystem.dll", "GetFileAttributesW");
    opening.fail_always(INVALID_HANDLE_VALUE, ERROR_ACCESS_DENIED);
    looking.fail_always(INVALID_FILE_ATTRIBUTES, ERROR_ACCESS_DENIED);
    EXPECT_THAT([] { which("t\u00f6\u4e2d.exe"); },
                testing::ThrowsMessage<boost::filesystem::filesystem_error>(
                    "boost::filesystem::status: \u0416 [system:5]: \"t\u00f6\u4e2d.exe\""));
  }
  EXPECT_EQ(which("tool.exe"), found("tool.exe"));
}

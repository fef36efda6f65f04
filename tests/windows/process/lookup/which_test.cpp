// Looking commands up in real directories. PATHEXT is read once in a process, so it is set for all tests before the
// first lookup; what another one does is seen from outside, in which_child.

#include <fl/process/which.hpp>

#include "every_test.hpp"
#include "import_patch.hpp"
#include "launch_texts.hpp"
#include "run_child.hpp"
#include "seeded_random.hpp"
#include "support.hpp"

#include <boost/filesystem/exception.hpp>
#include <boost/optional/optional_io.hpp>

#include <windows.h>

#include <filesystem>
#include <regex>

namespace {

using foundation::core::process::which;
using test_support::injected;
using test_support::run_child;
using test_support::scoped_variable;
using test_support::write_file;
using strings = std::vector<std::string>;
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

bool runs(const std::string& file) {
  static const std::regex known(R"(.*\.(com|exe|bat|cmd|vbs|vbe|js|jse|wsf|wsh|msc))", std::regex::icase);
  return (::GetFileAttributesW(test_support::widen(file).c_str()) & FILE_ATTRIBUTE_DIRECTORY) == 0 &&
         std::regex_match(file, known);
}

/// The rule once more, with nothing kept and nothing shared.
found slow_which(const std::string& name) {
  const auto entries = [](const wchar_t* variable) {
    wchar_t value[4096] = L"";
    strings found_entries;
    const DWORD size = ::GetEnvironmentVariableW(variable, value, 4096);
    std::istringstream stream(size ? test_support::narrow(value) + ";" : "");
    for (std::string entry; std::getline(stream, entry, ';');) {
      found_entries.push_back(entry);
    }
    return found_entries;
  };
  strings endings = entries(L"PATHEXT");
  endings.insert(endings.begin(), "");
  for (const std::string& ending : endings) {
    strings tried{name + ending};
    for (const std::string& folder : entries(L"PATH")) {
      tried.push_back(folder + (folder.empty() || std::strchr("\\/", folder.back()) ? "" : "\\") + name + ending);
    }
    if (const auto hit = std::find_if(tried.begin(), tried.end(), runs); hit != tried.end()) {
      return *hit;
    }
  }
  return boost::none;
}

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
  for (const auto& [name, path, extensions, found_file, notes] : cases) {
    const scoped_variable search("PATH", path), endings("PATHEXT", extensions);
    const auto child = run_child("which_child", name);
    std::string told = child.err;
    for (const auto& [pattern, text] : {std::pair("\r|.*\\[fl::process::which\\] (note:   )?", ""),
                                        {" \n", "(blank)\n"},
                                        {R"((scope_\w+:) .*core::process::windows::\S+(which_impl)\(.*)", "$1 $2"}}) {
      told = std::regex_replace(told, std::regex(pattern), text);
    }
    EXPECT_EQ(std::regex_replace(child.out, std::regex("\r"), ""), found_file + "\n" + found_file + "\n");
    EXPECT_EQ(told, "scope_entry: which_impl\narguments:    command_name=" + name + "\n" + notes +
                        "\nscope_exit: which_impl\n");
  }
}

TEST_F(Which, AgreesWithTheObviousSearchInFiveHundredLayouts) {
  test_support::seeded_random random;
  const std::string green = root_.file("gr\u00fcn & \u4e2d\u6587");
  std::filesystem::create_directory(test_support::widen(green));
  const strings folders{".", "A", "B", green}, names{"tool", "t.2\U0001f600"},
      stems{"tool", "t.2\U0001f600", "B\\tool", root_.file("A\\t.2\U0001f600")};
  const strings entries{"A", green, "A\\", "B/", root_.file("B"), ".", "", "\"A\"", "none"};
  const strings endings{"",     ".exe", ".Com", ".BAT", ".cmd", ".vbs", ".VBE", ".js", ".JSE",
                        ".wsf", ".wsh", ".msc", ".txt", ".ps1", ".dll", ".pif", ".",   ".exe.com"};
  int hits = 0;
  for (int round = 0; round != 500; ++round) {
    for (int change = 0; change != 4; ++change) {
      const std::string file = random.pick(folders) + "\\" + random.pick(names) + random.pick(endings);
      std::filesystem::remove(test_support::widen(file));
      if (random.chance(15)) {
        std::filesystem::create_directory(test_support::widen(file));
      } else if (random.chance(30)) {
        write_file(file, "");
      }
    }
    std::string value;
    for (auto count = random.below(6); count != 0; --count) {
      value += random.pick(entries) + (random.chance(80) || count > 1 ? ";" : "");
    }
    const scoped_variable path("PATH", value);
    const std::string name = random.pick(stems) + random.pick(endings);
    const found expected = slow_which(name);
    ASSERT_EQ(which(name), expected) << name << " in " << value;
    hits += expected ? 1 : 0;
  }
  EXPECT_TRUE(hits > 100 && hits < 400) << hits;
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

TEST_F(Which, ReadsPathOnceAndMakesNoListWhileItIsTheSame) {
  write_file("A\\tool.exe", "");
  injected<wchar_t* (*)(const wchar_t*)> reading("libqxfl.dll", "_wgetenv");
  injected<void* (*)(std::size_t)> allocating("libstdc++-6.dll", "malloc");  // beneath every `new` of the process
  const auto allocations = [&](std::uint64_t length) {
    std::string value;
    for (std::uint64_t i = 0; i != length; ++i) {
      value += "somewhere else;";
    }
    const scoped_variable path("PATH", value + "A");
    which("tool.exe");
    reading.reset();
    allocating.reset();
    EXPECT_EQ(which("tool.exe"), found("A\\tool.exe"));
    EXPECT_EQ(reading.calls(), 1u);
    return allocating.calls();
  };
  const auto few = allocations(4);
  EXPECT_LE(allocations(404), few + 400) << "Boost may copy each path that it looks at";
}

// Administrators may look everywhere, so the refusal is injected.
TEST_F(Which, LetsARefusedLookAtACandidateOut) {
  write_file("tool.exe", "");
  injected<DWORD (*)(DWORD, LPCVOID, DWORD, DWORD, LPWSTR, DWORD, char**)> message("libqxfl.dll", "FormatMessageW");
  message.handle_with([](auto, auto, auto, auto, auto, LPWSTR buffer, auto, auto) {
    return launch_texts::give_message(buffer, L"\u0416.\r\n");
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

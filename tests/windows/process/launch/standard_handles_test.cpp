// Where a child's standard streams come from and go to, with real children, and what the system is told of a launch.

#include <fl/sysdep/windows/process_impl.hpp>

#include "children.hpp"
#include "children/pattern.hpp"
#include "handle_leak.hpp"
#include "import_patch.hpp"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <windows.h>
#include <fcntl.h>
#include <io.h>

#include <algorithm>
#include <cstring>
#include <functional>
#include <optional>
#include <stdexcept>
#include <string>
#include <vector>

namespace foundation::core::sysdep::windows {

// The single steps of a launch.
struct process_impl_access {
  static constexpr auto no_action = static_cast<process_impl::open_action_type>(3);
  static constexpr auto get_handle = &process_impl::get_handle;
  static constexpr auto set_handle_to_std = &process_impl::set_handle_to_std;
  static constexpr auto open_file_handle = &process_impl::open_file_handle;
};

}  // namespace foundation::core::sysdep::windows

namespace process = foundation::core::process;
using children::read_all;
using foundation::core::sysdep::windows::process_impl;
using steps = foundation::core::sysdep::windows::process_impl_access;
using test_support::injected;
using test_support::read_file;
using test_support::write_file;
using testing::ThrowsMessage;

namespace {

constexpr const char* library = "libqxfl.dll";

// Points standard output (1) or error (2) of the C run-time at a file, or closes it; the system's standard handle is
// null meanwhile, so that the two cannot be mistaken for each other. Nothing may be asserted in between: the report
// would go there, too.
class scoped_stream {
 public:
  scoped_stream(int descriptor, const std::optional<std::string>& file)
      : descriptor_(descriptor), saved_(_dup(descriptor)) {
    if (file) {
      const int opened = _open(file->c_str(), _O_RDWR | _O_CREAT | _O_BINARY, 0600);
      _dup2(opened, descriptor);
      _close(opened);
    } else {
      _close(descriptor);
    }
    SetStdHandle(key(), nullptr);
  }
  ~scoped_stream() {
    _dup2(saved_, descriptor_);
    _close(saved_);
    SetStdHandle(key(), reinterpret_cast<HANDLE>(_get_osfhandle(descriptor_)));
  }

 private:
  DWORD key() const { return descriptor_ == 1 ? STD_OUTPUT_HANDLE : STD_ERROR_HANDLE; }

  int descriptor_;
  int saved_;  // the stream as it was, under another descriptor
};

unsigned status_of(const std::string& mode, const std::vector<std::string>& arguments, const process::context& how) {
  return process::process(children::command(mode, arguments), how).exit_status();
}

// What the system is asked to start, while the request is valid.
struct request {
  std::wstring program, line, directory;
  const void* environment;
  BOOL inherit;
  DWORD flags;
  const STARTUPINFOEXW& startup;
};

// Lets a launch come as far as the creation of the child, which does not take place.
void look_at_request(const process::command& what, const process::context& how,
                     const std::function<void(const request&)>& look) {
  injected<decltype(&CreateProcessW)> creation(library, "CreateProcessW");
  creation.handle_with(
      [&](auto, auto name, auto line, auto, auto, auto inherit, auto flags, auto env, auto dir, auto startup, auto) {
        look({name, line, dir, env, inherit, flags, *reinterpret_cast<STARTUPINFOEXW*>(startup)});
        SetLastError(ERROR_CANCELLED);
        return FALSE;
      });
  EXPECT_THROW(process_impl::launch(what, how), process::process_init_error);
  EXPECT_EQ(creation.calls(), 1u);
}

}  // namespace

TEST(Redirection, InputComesFromAFileByteForByteOrFromAnEmptyOneThatIsMade) {
  const test_support::temp_dir folder;
  write_file(folder.file("input with blank"), child_pattern::bytes(300000, 5) + "\r\n\x1A\n");
  for (const std::string& input : {folder.file("input with blank"), folder.file("missing")}) {
    process::context how;
    how.std_in(process::read_from_file(input));
    how.std_out(process::overwrite_file(folder.file("output")));
    EXPECT_EQ(status_of("echo", {}, how), 0u);
    EXPECT_TRUE(read_file(folder.file("output")) == read_file(input));
  }
}

TEST(Redirection, OutputFilesAreReplacedOrContinuedAndMadeWhereMissing) {
  const test_support::temp_dir folder;
  const std::string written = child_pattern::lines(3);
  for (const char* const mode : {"lines", "errors"}) {
    for (const std::string& before : {std::string(), std::string(1000, 'x')}) {
      const std::string replaced = folder.file(mode + before.substr(0, 1)), continued = replaced + " too";
      if (!before.empty()) {
        write_file(replaced, before);
        write_file(continued, before);
      }
      const bool errors = mode == std::string("errors");
      process::context how;
      errors ? how.std_err(process::overwrite_file(replaced)) : how.std_out(process::overwrite_file(replaced));
      EXPECT_EQ(status_of(mode, {"3"}, how), 0u);
      errors ? how.std_err(process::append_to_file(continued)) : how.std_out(process::append_to_file(continued));
      EXPECT_EQ(status_of(mode, {"3"}, how), 0u);
      EXPECT_EQ(read_file(replaced), written);
      EXPECT_EQ(read_file(continued), before + written);
    }
  }
}

// The program, its directory, a variable, a file and what `which` finds all have such names, whatever the code page.
TEST(Launch, ArrivesWithTheLettersOfAllLanguages) {
  for (const std::string text : {"J\u00fcrgen \u20ac", "\u042e\u0440\u0438\u0439", "\u4e2d\u6587", "\U0001f600"}) {
    const test_support::temp_dir folder(text);
    write_file(folder.file(text + ".exe"), read_file(test_support::child_path("child")));
    const test_support::scoped_variable path("PATH", folder.path());
    const auto program = process::which(text + ".exe");
    ASSERT_TRUE(program.has_value() && *program == folder.file(text + ".exe")) << text;
    process::context how;
    how.environment()["name"] = how.environment()["B" + text] = text;
    how.directory(folder.path());
    how.std_out(process::overwrite_file(folder.file("out " + text)));
    EXPECT_EQ(process::process(process::make_command(*program, "env"), how).exit_status(), 0u);
    const std::string told = read_file(folder.file("out " + text));
    const std::wstring wide = test_support::widen(text);
    char narrow[64] = "";
    WideCharToMultiByte(CP_ACP, 0, wide.c_str(), -1, narrow, sizeof narrow, nullptr, nullptr);
    EXPECT_NE(told.find("\nB" + text + "=" + text + "\n"), std::string::npos) << told;
    EXPECT_TRUE(told.ends_with(std::string("\n") + narrow + "\n" + folder.path() + "\n")) << told;
  }
}

// Two positions in the file would let each stream overwrite the other.
TEST(Redirection, MergedStreamsShareOnePositionInAFile) {
  constexpr std::ptrdiff_t input_size = 400000;
  constexpr std::ptrdiff_t flood = 500000;
  const test_support::temp_dir folder;
  write_file(folder.file("in"), std::string(input_size, 'i'));
  write_file(folder.file("both"), "old");
  process::context how;
  how.std_in(process::read_from_file(folder.file("in")));
  how.std_out(process::append_to_file(folder.file("both")));
  how.std_err(process::merge_with_stdout());
  EXPECT_EQ(status_of("echo", {std::to_string(flood)}, how), 0u);
  const std::string both = read_file(folder.file("both"));
  EXPECT_EQ(std::ssize(both), 3 + input_size + flood);
  EXPECT_EQ(std::count(both.begin(), both.end(), 'i'), input_size);
  EXPECT_EQ(std::count(both.begin(), both.end(), 'e'), flood);
}

TEST(Redirection, OutputIsInheritedFromTheRunTimesStreamsOrDiscarded) {
  const test_support::temp_dir folder;
  process::context plain;
  plain.std_in(process::read_from_file("NUL"));
  process::context merged = plain;
  merged.std_err(process::merge_with_stdout());
  process::context silent = plain;
  silent.std_out(process::discard());
  silent.std_err(process::discard());
  std::vector<unsigned> statuses;
  {
    const scoped_stream out(1, folder.file("out"));
    const scoped_stream err(2, folder.file("err"));
    statuses = {status_of("lines", {"2"}, plain), status_of("errors", {"3"}, plain), status_of("errors", {"1"}, merged),
                status_of("bytes", {"200000"}, silent), status_of("errors", {"20000"}, silent)};
  }
  EXPECT_EQ(statuses, std::vector<unsigned>(5, 0));
  EXPECT_EQ(read_file(folder.file("out")), child_pattern::lines(2) + child_pattern::lines(1));
  EXPECT_EQ(read_file(folder.file("err")), child_pattern::lines(3));
}

TEST(Redirection, InheritedInputIsTheSystemsStandardHandle) {
  const test_support::temp_file input("from the parent");
  SECURITY_ATTRIBUTES inheritable = {sizeof inheritable, nullptr, TRUE};
  const HANDLE file = CreateFileW(test_support::widen(input.path()).c_str(), GENERIC_READ, FILE_SHARE_READ,
                                  &inheritable, OPEN_EXISTING, 0, nullptr);
  ASSERT_NE(file, INVALID_HANDLE_VALUE);
  const HANDLE former = GetStdHandle(STD_INPUT_HANDLE);
  process::iopipe output;
  SetStdHandle(STD_INPUT_HANDLE, file);
  process::process child(children::command("echo"), children::output_to(output));
  SetStdHandle(STD_INPUT_HANDLE, former);
  EXPECT_EQ(read_all(output.device()), "from the parent");
  EXPECT_EQ(child.exit_status(), 0u);
  EXPECT_TRUE(CloseHandle(file)) << "the parent's own handle must stay open";
}

// The run-time answers -1 or -2 for a stream that it does not have: numbers that stand for this process and thread.
TEST(Redirection, AStreamThatTheParentDoesNotHaveIsNull) {
  for (const DWORD key : {STD_OUTPUT_HANDLE, STD_ERROR_HANDLE}) {
    STARTUPINFOW startup = {};
    steps::get_handle(&startup, key) = GetCurrentProcess();
    {
      const scoped_stream closed(key == STD_OUTPUT_HANDLE ? 1 : 2, std::nullopt);
      steps::set_handle_to_std(&startup, key);
    }
    EXPECT_EQ(steps::get_handle(&startup, key), nullptr);
  }
}

TEST(Redirection, UnknownKeysAndActionsAreRefusedAndLoseNoHandle) {
  const test_support::temp_file file;
  STARTUPINFOW start = {};
  constexpr DWORD key = static_cast<DWORD>(-13);
  EXPECT_TRUE(test_support::loses_no_handle([&] {
    EXPECT_THAT([&] { steps::open_file_handle(&start, key, file.path(), GENERIC_WRITE, {}); },
                ThrowsMessage<std::invalid_argument>("get_handle key must be one of STD_INPUT_HANDLE, "
                                                     "STD_OUTPUT_HANDLE, or STD_ERROR_HANDLE"));
    EXPECT_THAT([&] { steps::open_file_handle(&start, key, file.path(), GENERIC_WRITE, steps::no_action); },
                ThrowsMessage<std::invalid_argument>("bad open_action (open_file_handle)"));
  }));
}

TEST(LaunchRequest, HoldsWhatCommandAndContextSay) {
  process::iopipe pipe;
  constexpr DWORD extended = 0x00080000;
  const struct {
    const char* name;
    std::function<void(process::context&)> prepare;
    bool inherit = false;
    DWORD creation = extended;
    DWORD startup = 0x100;
    bool list = false;
  } cases[] = {
      {"default", [](auto&) {}},
      {"hide", [](auto& how) { how.hide_windows(true); }, false, extended, 0x101},
      {"detached", [](auto& how) { how.detached_process(true); }, false, extended | 0x8},
      {"no window", [](auto& how) { how.create_no_window(true); }, false, extended | 0x08000000},
      {"negations",
       [](auto& how) { how.hide_windows(false), how.detached_process(false), how.create_no_window(false); }},
      {"a list", [](auto& how) { how.explicitlyInheritHandles(true); }, true, extended, 0x100, true},
      {"a handle", [&](auto& how) { how.inherited_handles().insert(pipe.device().handles().read_handle()); }, true},
  };
  process::command what("C:\\a b\\pr\u00f6g.exe");
  for (const auto& each : cases) {
    SCOPED_TRACE(each.name);
    process::context how;
    each.prepare(how);
    look_at_request(what, how, [&](const request& seen) {
      EXPECT_EQ(seen.inherit != FALSE, each.inherit);
      EXPECT_EQ(seen.flags, each.creation);
      EXPECT_EQ(seen.startup.StartupInfo.dwFlags, each.startup);
      EXPECT_EQ(seen.startup.StartupInfo.cb, 112u);
      EXPECT_EQ(seen.startup.StartupInfo.wShowWindow, SW_HIDE);
      EXPECT_EQ(seen.startup.lpAttributeList != nullptr, each.list);
    });
  }

  process::context how;
  how.environment().clear();
  look_at_request(what, how, [](const request& seen) {
    EXPECT_EQ(seen.program, L"C:\\a b\\pr\u00f6g.exe");
    EXPECT_EQ(seen.line, L"\"C:\\a b\\pr\u00f6g.exe\"");
    EXPECT_EQ(seen.directory, L".");
    EXPECT_EQ(std::string(static_cast<const char*>(seen.environment), 2), std::string(2, '\0'));
  });
  what.args() = {"one", "two words", "\u4e2d\U0001f600", "q\""};
  how.directory("C:\\win dows\\\u00e4");
  look_at_request(what, how, [](const request& seen) {
    EXPECT_EQ(seen.line, L"\"C:\\a b\\pr\u00f6g.exe\" one \"two words\" \u4e2d\U0001f600 q\\\" ");
    EXPECT_EQ(seen.directory, L"C:\\win dows\\\u00e4");
  });
}

// A narrow block is read in the active code page: text that this page would change goes to the system in UTF-16.
TEST(LaunchRequest, HoldsTheEnvironmentAsBytesOnlyWhereTheseAreTheText) {
  process::context how;
  const auto expect_block = [&](const auto& expected, DWORD flags) {
    look_at_request(process::command("C:\\a.exe"), how, [&](const request& seen) {
      EXPECT_EQ(seen.flags, 0x00080000 | flags);
      EXPECT_EQ(std::memcmp(seen.environment, expected, sizeof expected), 0);
    });
  };
  how.environment() = {{"b", "2=3"}, {"A", "1"}, {"C", ""}};
  expect_block("A=1\0b=2=3\0C=\0", 0);
  how.environment()["\u00e4"] = "\U0001f600";
  expect_block(L"A=1\0b=2=3\0C=\0\u00e4=\U0001f600\0", CREATE_UNICODE_ENVIRONMENT);
  how.environment()["A"] = "\xff";  // no UTF-8: what the active code page says
  wchar_t expected[] = L"A=?\0b=2=3\0C=\0\u00e4=\U0001f600\0";
  ASSERT_EQ(MultiByteToWideChar(CP_ACP, 0, "\xff", 1, expected + 2, 1), 1);
  expect_block(expected, CREATE_UNICODE_ENVIRONMENT);
  injected<decltype(&GetACP)> page(library, "GetACP");
  page.handle_with([](auto) { return UINT{CP_UTF8}; });
  expect_block("\u00e4=\U0001f600\0A=\xff\0b=2=3\0C=\0", 0);
}

TEST(LaunchRequest, IsNotMadeWithANulThatWouldCutTextShort) {
  injected<decltype(&CreateProcessW)> creation(library, "CreateProcessW");
  const std::string nul("a\0b", 3);
  const process::command good = children::command("exit", {"0"});
  const struct {
    const char* what;
    process::command command;
    std::function<void(process::context&)> spoil;
  } rows[] = {
      {"command line", children::command("exit", {"0", nul}), [](auto&) {}},
      {"command line", process::command(nul), [](auto&) {}},
      {"directory", good, [&](auto& how) { how.directory(nul); }},
      {"file name", good, [&](auto& how) { how.std_out(process::overwrite_file(nul)); }},
      {"name of an environment variable", good, [&](auto& how) { how.environment()[nul] = "1"; }},
      {"value of an environment variable", good, [&](auto& how) { how.environment()["A"] = nul; }},
  };
  for (const auto& [what, command, spoil] : rows) {
    process::context how;
    spoil(how);
    const auto launch = [&, &command = command] { process_impl::launch(command, how); };
    const std::string reason = std::string("\": the ") + what + " holds a NUL character\n";
    EXPECT_THAT(launch, ThrowsMessage<process::process_init_error>(testing::HasSubstr(reason)));
  }
  EXPECT_EQ(creation.calls(), 0u);
}

// Where a child's standard streams come from and go to, with real children, and what the system is told of a launch.

#include <fl/sysdep/windows/process_impl.hpp>

#include "children.hpp"
#include "every_test.hpp"
#include "import_patch.hpp"

#include <windows.h>
#include <fcntl.h>
#include <io.h>

namespace process = foundation::core::process;
using foundation::core::sysdep::windows::process_impl;
using test_support::injected;
using test_support::read_file;
using test_support::write_file;

namespace {

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

// What the system is asked to start. The environment is compared with `block`, as far as that goes.
struct request {
  std::wstring program_line_directory;
  std::string numbers;  // whether handles are inherited, the flags of the creation and of the startup data, in hex
  std::array<HANDLE, 3> streams;
};

// Lets a launch come as far as the creation of the child, which does not take place.
request requested(const process::command& what, const process::context& how, std::string_view block = {}) {
  request made;
  const injected<decltype(&CreateProcessW)> creation(
      "CreateProcessW", [&](auto, auto name, auto line, auto, auto, auto inherit, auto flags, auto environment,
                            auto directory, auto startup, auto) {
        const bool list = reinterpret_cast<STARTUPINFOEXW*>(startup)->lpAttributeList != nullptr;
        std::ostringstream numbers;
        numbers << std::hex << inherit << " " << flags << " " << startup->dwFlags << (list ? " and a list" : "");
        made = {std::wstring(name) + L"|" + line + L"|" + directory,
                numbers.str(),
                {startup->hStdInput, startup->hStdOutput, startup->hStdError}};
        EXPECT_TRUE(startup->cb == 112 && startup->wShowWindow == SW_HIDE);
        EXPECT_EQ(std::string_view(static_cast<const char*>(environment), block.size()), block);
        SetLastError(ERROR_CANCELLED);
        return FALSE;
      });
  EXPECT_THROW(process_impl::launch(what, how), process::process_init_error);
  return made;
}

}  // namespace

// An input file that is missing is made as an output file is. Merged streams share one position in a file: with two,
// each would overwrite the other.
TEST(Redirection, ComesFromFilesAndReplacesOrContinuesFilesByteForByte) {
  const test_support::temp_dir folder;
  const std::string in = folder.file("in with blank"), missing = folder.file("missing"), target = folder.file("target"),
                    data = std::string(100000, '\0') + "\r\n\x1A\n\xFF";
  write_file(in, data);
  const process::std_out_type replaced = process::overwrite_file(target), continued = process::append_to_file(target);
  const struct {
    process::command what;
    std::function<void(process::context&)> redirect;
    std::string written;
    bool continues = false;
  } rows[] = {
      {children::command("echo"), [&](auto& how) { how.std_in(process::read_from_file(in)).std_out(replaced); }, data},
      {children::command("echo"), [&](auto& how) { how.std_in(process::read_from_file(missing)).std_out(replaced); },
       ""},
      {children::command("out", {"some"}), [&](auto& how) { how.std_out(continued); }, "some", true},
      {children::command("err", {"some"}), [&](auto& how) { how.std_err(process::overwrite_file(target)); }, "some"},
      {children::command("err", {"some"}), [&](auto& how) { how.std_err(process::append_to_file(target)); }, "some",
       true},
      {children::command("echo", {"none"}),
       [&](auto& how) {
         how.std_in(process::read_from_file(in)).std_out(replaced).std_err(process::merge_with_stdout());
       },
       "none" + data},
  };
  for (const auto& [what, redirect, written, continues] : rows) {
    for (const std::string& before : {std::string(), std::string(1000, 'x')}) {
      before.empty() ? void(DeleteFileA(target.c_str())) : write_file(target, before);
      process::context how;
      redirect(how);
      EXPECT_EQ(process::process(what, how).exit_status(), 0u);
      EXPECT_TRUE(read_file(target) == (continues ? before : "") + written) << what << continues << before.size();
    }
  }
  EXPECT_EQ(read_file(missing), "");
}

// The system fails where nobody asks for the upper half of a position that has one, and its answer for the lower half
// may be the number that otherwise stands for a failure: both are injected.
TEST(Redirection, ContinuesAFileThatEndsBehindFourGigabytes) {
  const test_support::temp_dir folder;
  const injected<decltype(&SetFilePointer)> move("SetFilePointer", [](auto, auto, auto, PLONG upper, auto) {
    SetLastError(upper != nullptr ? NO_ERROR : ERROR_INVALID_PARAMETER);
    return INVALID_SET_FILE_POINTER;
  });
  process::context how;
  how.std_out(process::append_to_file(folder.file("large")));
  EXPECT_EQ(status_of("exit", {"7"}, how), 7u);
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

TEST(Redirection, OutputIsInheritedFromTheRunTimesStreamsOrDiscarded) {
  const test_support::temp_dir folder;
  process::context plain;
  plain.std_in(process::read_from_file("NUL"));
  process::context merged = plain, silent = plain;
  merged.std_err(process::merge_with_stdout());
  silent.std_out(process::discard()).std_err(process::discard());
  std::vector<unsigned> statuses;
  {
    const scoped_stream out(1, folder.file("out"));
    const scoped_stream err(2, folder.file("err"));
    statuses = {status_of("out", {"one"}, plain), status_of("err", {"two"}, plain), status_of("err", {"three"}, merged),
                status_of("out", {"four"}, silent), status_of("err", {"five"}, silent)};
  }
  EXPECT_EQ(statuses, std::vector<unsigned>(5, 0));
  EXPECT_EQ(read_file(folder.file("out")), "onethree");
  EXPECT_EQ(read_file(folder.file("err")), "two");
}

// The run-time answers -1 or -2 for a stream that it does not have: numbers that stand for this process and thread.
TEST(Redirection, InheritsTheSystemsInputAsItIsAndNothingForAStreamThatTheParentDoesNotHave) {
  const HANDLE former = GetStdHandle(STD_INPUT_HANDLE), input = CreateEventW(nullptr, TRUE, FALSE, nullptr);
  for (const unsigned missing : {1u, 2u}) {
    SetStdHandle(STD_INPUT_HANDLE, input);
    request made;
    {
      const scoped_stream closed(static_cast<int>(missing), std::nullopt);
      made = requested(process::command("C:\\a.exe"), {});
    }
    SetStdHandle(STD_INPUT_HANDLE, former);
    EXPECT_EQ(made.streams[0], input);
    EXPECT_EQ(made.streams[missing], nullptr);
    EXPECT_NE(made.streams[3 - missing], nullptr);
  }
  EXPECT_TRUE(CloseHandle(input)) << "the parent's own handle must stay open";
}

TEST(LaunchRequest, HoldsWhatCommandAndContextSay) {
  process::iopipe pipe;
  process::command what("C:\\a b\\pr\u00f6g.exe");
  const struct {
    std::string numbers;
    std::function<void(process::context&)> prepare;
  } rows[] = {
      {"0 80000 100", [](auto&) {}},
      {"0 80000 101", [](auto& how) { how.hide_windows(true); }},
      {"0 80008 100", [](auto& how) { how.detached_process(true); }},
      {"0 8080000 100", [](auto& how) { how.create_no_window(true); }},
      {"0 80000 100",
       [](auto& how) { how.hide_windows(false), how.detached_process(false), how.create_no_window(false); }},
      {"1 80000 100 and a list", [](auto& how) { how.explicitlyInheritHandles(true); }},
      {"1 80000 100", [&](auto& how) { how.inherited_handles().insert(pipe.device().handles().read_handle()); }},
  };
  for (const auto& [numbers, prepare] : rows) {
    process::context how;
    prepare(how);
    EXPECT_EQ(requested(what, how).numbers, numbers);
  }
  process::context how;
  EXPECT_EQ(requested(what, how).program_line_directory, L"C:\\a b\\pr\u00f6g.exe|\"C:\\a b\\pr\u00f6g.exe\"|.");
  what.args() = {"one", "two words", "\u4e2d\U0001f600", "q\""};
  how.directory("C:\\win dows\\\u00e4");
  EXPECT_EQ(requested(what, how).program_line_directory,
            L"C:\\a b\\pr\u00f6g.exe|\"C:\\a b\\pr\u00f6g.exe\" one \"two words\" \u4e2d\U0001f600 q\\\" |"
            L"C:\\win dows\\\u00e4");
}

// The system turns a narrow block into its own form, and has room for so many units of it; Wine takes any.
TEST(LaunchRequest, HoldsAnEnvironmentThatIsTooLargeForTheNarrowFormInTheOther) {
  process::context how;
  for (const auto& [size, flags] : {std::pair(32767, "0 80000 100"), std::pair(32768, "0 80400 100")}) {
    how.environment() = {{"A", std::string(static_cast<std::size_t>(size) - 4, 'x')}};  // two zeros behind
    EXPECT_EQ(requested(process::command("C:\\a.exe"), how).numbers, flags);
  }
}

// A narrow block is read in the active code page: text that this page would change goes to the system in UTF-16.
TEST(LaunchRequest, HoldsTheEnvironmentAsBytesOnlyWhereTheseAreTheText) {
  process::context how;
  const auto expect_block = [&](const auto& expected, const char* flags) {
    const std::string_view block(reinterpret_cast<const char*>(expected), sizeof expected);
    EXPECT_EQ(requested(process::command("C:\\a.exe"), how, block).numbers, flags);
  };
  how.environment().clear();
  expect_block("\0", "0 80000 100");
  how.environment() = {{"b", "2=3"}, {"A", "1"}, {"C", ""}};
  expect_block("A=1\0b=2=3\0C=\0", "0 80000 100");
  how.environment()["\u00e4"] = "\U0001f600";
  expect_block(L"A=1\0b=2=3\0C=\0\u00e4=\U0001f600\0", "0 80400 100");
  how.environment()["A"] = "\xff";  // no UTF-8: what the active code page says
  wchar_t expected[] = L"A=?\0b=2=3\0C=\0\u00e4=\U0001f600\0";
  ASSERT_EQ(MultiByteToWideChar(CP_ACP, 0, "\xff", 1, expected + 2, 1), 1);
  expect_block(expected, "0 80400 100");
  const injected<decltype(&GetACP)> page("GetACP", [](auto) { return UINT{CP_UTF8}; });
  expect_block("\u00e4=\U0001f600\0A=\xff\0b=2=3\0C=\0", "0 80000 100");
}

// The standard streams in children whose handles are pipes and files, and on a console that stands in for a real one:
// the programs that CTest runs have none, and Wine's is not the system's.
#include "children.hpp"
#include "every_test.hpp"
#include "import_patch.hpp"
#include "support.hpp"

#include <kit/console.hpp>

#include <windows.h>

namespace {

using foundation::kit::console;
namespace process = foundation::core::process;

process::command console_child(const std::string& mode) {
  return process::make_command(test_support::child_path("console_child"), mode);
}

TEST(Console, PassesBytesOnWhenItIsRedirectedAndFlushesInOrder) {
  process::iopipe output;
  process::context both = children::output_to(output);
  both.std_err(process::merge_with_stdout());
  const process::process child(console_child("write"), both);
  EXPECT_EQ(children::read_all(output.device()),
            "\u00e4\n\r\n\xff"
            "1err\n2\u20ac3.5\U0001F600\nend\u00fc");
}

TEST(Console, CopiesMoreThanAPipeHoldsByteForByte) {
  const test_support::temp_dir folder;
  std::string bytes;
  for (int i = 0; i != 300000; ++i) {
    bytes += static_cast<char>(i * 7 + i / 256);
  }
  test_support::write_file(folder.file("in"), bytes);
  process::iopipe output(0);
  process::context how = children::output_to(output);
  how.std_in(process::read_from_file(folder.file("in")));
  const process::process from_file(console_child("copy"), how);
  EXPECT_TRUE(children::read_all(output.device()) == bytes);
}

TEST(Console, WritesIntoNothingAndReadsTheEndWithoutHandles) {
  process::process child(console_child("none"));
  EXPECT_EQ(child.exit_status(), 0U);
}

/// While it lives, this process has a console that takes and gives what it is told.
class stand_in_console {
 public:
  std::wstring shown;
  std::vector<std::wstring> lines;
  DWORD most = 100;                  // units at a time
  std::vector<DWORD> interruptions;  // last errors of reads that give nothing

  test_support::injected<decltype(&GetConsoleMode)> mode{"libqxkit.dll", "GetConsoleMode",
                                                         [](auto, HANDLE, DWORD*) { return TRUE; }};
  test_support::injected<decltype(&WriteConsoleW)> write{
      "libqxkit.dll", "WriteConsoleW", [this](auto, HANDLE, const void* text, DWORD count, DWORD* put, void*) {
        *put = std::min(count, most);
        shown.append(static_cast<const wchar_t*>(text), *put);
        return TRUE;
      }};
  test_support::injected<decltype(&ReadConsoleW)> read{
      "libqxkit.dll", "ReadConsoleW", [this](auto, HANDLE, void* text, DWORD, DWORD* got, auto) {
        *got = 0;
        if (!interruptions.empty()) {
          SetLastError(interruptions.back());
          interruptions.pop_back();
        } else if (!lines.empty()) {
          *got = static_cast<DWORD>(lines[0].copy(static_cast<wchar_t*>(text), lines[0].size()));
          lines.erase(lines.begin());
        }
        return TRUE;
      }};
};

TEST(Console, SpeaksUtf16WithAConsole) {
  stand_in_console screen;
  console().out() << "name: \u00e4\xe2\x82" << std::flush;
  EXPECT_EQ(screen.shown, L"name: \u00e4");
  screen.most = 1;
  console().out() << "\xac\n";
  console().uout() << u"\U0001F600";
  screen.interruptions = {ERROR_OPERATION_ABORTED};
  screen.lines = {L"M\u00fcller \xD83D", L"\xDE00\r", L"\n", L"next\r\n"};
  std::string line;
  EXPECT_TRUE(std::getline(console().in(), line));
  EXPECT_EQ(line, "M\u00fcller \U0001F600");
  EXPECT_EQ(screen.shown, L"name: \u00e4\u20ac\n\U0001F600") << "not shown before the read";
  foundation::core::ustring word;
  EXPECT_TRUE(console().uin() >> word);
  EXPECT_EQ(word, u"next");
  EXPECT_FALSE(console().uin() >> word);
  console().uin().clear();
}

TEST(Console, TakesEmptyReadsForEmptyWritesOnlyFromAPipe) {
  HANDLE from = nullptr, to = nullptr;
  ASSERT_TRUE(CreatePipe(&from, &to, nullptr, 0));
  const HANDLE before = GetStdHandle(STD_INPUT_HANDLE);
  SetStdHandle(STD_INPUT_HANDLE, from);
  int reads = 0;
  const test_support::injected<decltype(&ReadFile)> read(
      "libqxkit.dll", "ReadFile", [&](auto, HANDLE, void* bytes, DWORD, DWORD* got, OVERLAPPED*) {
        *static_cast<char*>(bytes) = 'x';
        *got = ++reads % 3 == 0;
        return TRUE;
      });
  EXPECT_EQ(console().in().get(), 'x');
  EXPECT_EQ(reads, 3);
  {
    test_support::injected<decltype(&GetNamedPipeInfo)> info("libqxkit.dll", "GetNamedPipeInfo");
    info.fail_always(FALSE, ERROR_INVALID_FUNCTION);  // a socket
    EXPECT_EQ(console().in().get(), EOF);
  }
  console().in().clear();
  SetStdHandle(STD_INPUT_HANDLE, before);
  CloseHandle(from);
  CloseHandle(to);
}

TEST(Console, KeepsItsLibraryLoaded) {
  const auto first_use = [] {
    const test_support::injected<decltype(&GetModuleHandleExW)> pinning("libqxkit.dll", "GetModuleHandleExW");
    console();
    std::exit(pinning.calls() == 1 ? 0 : 1);
  };
  EXPECT_EXIT(first_use(), testing::ExitedWithCode(0), "");
}

TEST(Console, ThrowsWhatTheSystemSaysIfItIsAskedTo) {
  const auto failure = [](std::ios& stream, const auto& work) -> std::string {
    stream.exceptions(std::ios_base::badbit);
    std::string text = "none";
    try {
      work();
    } catch (const boost::system::system_error& error) {
      text = error.what();
    }
    stream.exceptions(std::ios_base::goodbit);
    stream.clear();
    return text.substr(0, text.find(':')) + "/" + text.substr(text.rfind(' ') + 1);
  };
  const auto write = [] { console().err() << "text"; };
  const auto read = [] { console().in().get(); };
  stand_in_console screen;
  screen.write.handle_with([](auto, HANDLE, const void*, DWORD, DWORD*, void*) { return TRUE; });
  EXPECT_EQ(failure(console().err(), write), "WriteConsoleW/[system:29]") << "nothing was written";
  screen.write.fail_always(FALSE, ERROR_NOT_ENOUGH_MEMORY);
  EXPECT_EQ(failure(console().err(), write), "WriteConsoleW/[system:8]");
  screen.read.fail_always(FALSE, ERROR_INVALID_HANDLE);
  EXPECT_EQ(failure(console().in(), read), "ReadConsoleW/[system:6]");
  screen.mode.fail_always(FALSE, ERROR_INVALID_HANDLE);
  test_support::injected<decltype(&WriteFile)> write_file("libqxkit.dll", "WriteFile");
  test_support::injected<decltype(&ReadFile)> read_file("libqxkit.dll", "ReadFile");
  write_file.fail_always(FALSE, ERROR_NO_DATA);
  EXPECT_EQ(failure(console().err(), write), "WriteFile/[system:232]");
  read_file.fail_always(FALSE, ERROR_IO_DEVICE);
  EXPECT_EQ(failure(console().in(), read), "ReadFile/[system:1117]");
  read_file.fail_always(FALSE, ERROR_BROKEN_PIPE);
  EXPECT_EQ(failure(console().in(), read), "none/none") << "the end of a pipe";
  std::string written;
  write_file.reset();
  write_file.handle_with([&](auto, HANDLE, const void* text, DWORD, DWORD* put, OVERLAPPED*) {
    written += *static_cast<const char*>(text);
    *put = 1;
    return TRUE;
  });
  console().err() << std::flush;
  EXPECT_EQ(written, "texttexttext") << "what was refused";
}

}  // namespace

// A tour of the library on real input. Each stop shows one thing, checks what came of it, and says so; the program
// exits with 0 only if every check held.

#include <fl/process.hpp>
#include <i18n/convert.hpp>

#include "check.hpp"
#include "children.hpp"
#include "processor.hpp"
#include "programs.hpp"
#include "texts.hpp"

#include <windows.h>

#include <chrono>
#include <cstdio>
#include <fstream>
#include <iterator>
#include <stdexcept>
#include <string>

namespace process = foundation::core::process;

namespace {

// This very program, as a child with a task.
process::command child_with(const std::string& task, const std::string& arg = process::detail::unspecified(),
                            const std::string& arg2 = process::detail::unspecified()) {
  static const std::string self = fl::i18n::ustring_to_utf8(process::this_process::absolute_path());
  return process::make_command(self, task, arg, arg2);
}

void read_lines_through_a_text_pipe() {
  constexpr unsigned long count = 120000;
  process::iopipe output(0);  // text mode: a line end is one "\n"
  process::context how;
  how.std_out(process::pipe_to(output));
  how.explicitlyInheritHandles(true);
  const auto start = std::chrono::steady_clock::now();
  process::process child(child_with("lines", std::to_string(count)), how);

  unsigned long lines = 0;
  char expected[64];
  for (std::string line; std::getline(output, line);) {
    format_line(expected, ++lines);
    check(line == expected, "a line of the child's output");
  }
  const std::chrono::duration<double> elapsed = std::chrono::steady_clock::now() - start;
  check(lines == count, "the number of lines");
  check(child.exit_status() == 0, "the exit status");
  std::printf("  %lu lines, each as it should be, in %.2f s; exit status 0\n", lines, elapsed.count());
}

void feed_a_child() {
  process::iopipe input;
  process::iopipe output(0);
  process::context how;
  how.std_in(process::pipe_from(input));
  how.std_out(process::pipe_to(output));
  how.explicitlyInheritHandles(true);
  process::process child(child_with("sum"), how);

  for (int n = 1; n <= 1000; ++n) {
    input << n << '\n';
  }
  input.close_for_write();  // The child sees the end of its input.
  std::string answer;
  std::getline(output, answer);
  check(answer == "500500", "the sum of 1 to 1000");
  check(child.exit_status() == 0, "the exit status");
  std::printf("  1 + 2 + ... + 1000 = %s, says the child\n", answer.c_str());
}

void merge_both_streams_into_a_file() {
  const std::string file = "tour-merged.txt";
  process::context how;
  how.std_out(process::overwrite_file(file));
  how.std_err(process::merge_with_stdout());
  how.explicitlyInheritHandles(true);
  process::process child(child_with("both", "6"), how);
  check(child.exit_status() == 0, "the exit status");

  std::ifstream stream(file);
  const std::string text{std::istreambuf_iterator<char>(stream), {}};
  stream.close();
  std::remove(file.c_str());
  check(text == "out\nerr\nout\nerr\nout\nerr\n", "the order of the lines of both streams");
  std::printf("  six lines of two streams, in the order in which they were written\n");
}

void await_a_status_without_a_thread() {
  process::process child(child_with("exit", "100", "42"));
  const auto status = child.exit_status_async();
  check(!child.exited(), "a child that sleeps runs");
  const auto exited = std::get<process::detail::exited>(status.get());
  check(exited.exit_code == 42, "the exit status from the future");
  std::printf("  the future says %u\n", exited.exit_code);
}

void detach_a_child() {
  const std::string name = "tour-" + std::to_string(process::this_process::id());
  const HANDLE event = CreateEventA(nullptr, TRUE, FALSE, name.c_str());
  check(event != nullptr, "an event to wait for");
  {
    process::process child(child_with("signal", name, "200"));
    child.detach();
  }
  const DWORD result = WaitForSingleObject(event, 20000);
  CloseHandle(event);
  check(result == WAIT_OBJECT_0, "a sign of life from the detached child");
  std::printf("  its object is gone, the child lives on and signals\n");
}

void fail_to_launch() {
  try {
    process::process child(process::make_command("no-such-program.exe", "--help"));
    check(false, "a program that does not exist is not started");
  } catch (const process::process_init_error& e) {
    std::printf("  %s", e.what());
  }
}

struct stop {
  const char* title;
  void (*show)();
};

constexpr stop stops[] = {
    {"A child's output, read line by line through a text-mode pipe", read_lines_through_a_text_pipe},
    {"A child fed through a pipe", feed_a_child},
    {"Both output streams merged into a file", merge_both_streams_into_a_file},
    {"An exit status that arrives asynchronously", await_a_status_without_a_thread},
    {"A detached child", detach_a_child},
    {"A launch that fails, and what it says", fail_to_launch},
    {"Programs found by their names", find_programs},
    {"A crash, and what the program says of it", report_a_crash},
    {"A fatal error that a program finds itself", report_a_fatal_error},
    {"A service whose worker crashes", restart_a_service},
    {"Fifty commands, eight at a time", run_fifty_commands},
    {"An error for the user, in two languages", speak_two_languages},
    {"Memory: options, an aligned heap, a pool, and how much more to take", show_memory},
    {"A block of the heap whose header was overwritten", corrupt_the_heap},
    {"What the processor offers, and what others say of it", show_processor},
    {"A file in three encodings", write_three_encodings},
    {"Numbers on a stream of UTF-16, and an encoding that nobody knows", format_numbers},
    {"A file converted, and a byte that is no text", convert_a_file},
};

}  // namespace

int wmain(int argc, wchar_t** argv) {
  if (argc > 1 && argv[1] == std::wstring(L"--help")) {
    std::printf("usage: tour\n\nShows what the library does, and checks it: the exit status is 0 if all held.\n");
    return 0;
  }
  if (argc > 1) {
    return run_as_child(argc, argv);
  }
  int number = 0;
  for (const stop& s : stops) {
    std::printf("%d. %s\n", ++number, s.title);
    try {
      s.show();
    } catch (const std::exception& e) {
      std::printf("  FAILED: %s\n", e.what());
      return 1;
    }
    std::fflush(stdout);
  }
  std::printf("All %d stops of the tour held.\n", number);
  return 0;
}

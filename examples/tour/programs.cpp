#include "programs.hpp"

#include <fl/process.hpp>

#include "check.hpp"
#include "run_example.hpp"

#include <boost/algorithm/string/predicate.hpp>

#include <algorithm>
#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <string>

namespace process = foundation::core::process;

namespace {

void put_own_folder_in_path() {
  const fl::ustring self = process::this_process::absolute_path();
  const wchar_t* const former = _wgetenv(L"PATH");
  const std::wstring folder(self.begin(), self.begin() + static_cast<std::ptrdiff_t>(self.rfind(u'\\')));
  check(_wputenv_s(L"PATH", (folder + L';' + (former ? former : L"")).c_str()) == 0, "a new PATH");
}

/// Shows the heading of the report with the message, and its stack down to the line with `last`.
void show_report(const lines& output, const std::string& heading, const std::string& last) {
  const auto head = find(output, heading);
  const auto stack = find(output, "Stack Trace");
  const auto end = find(output, last);
  check(head != output.end() && stack != output.end() && end != output.end() && head < stack && stack < end,
        "a report with its heading and a stack that names the functions");
  std::printf("  %s\n  %s\n  …\n", head[0].c_str(), head[1].c_str());
  print(lines(stack, end + 1));
}

}  // namespace

void find_programs() {
  put_own_folder_in_path();
  for (const std::string name : {"cmd", "transcode"}) {
    const std::string file = find_program(name);
    check(boost::algorithm::iends_with(file, name + ".exe"), "a program file of this name");
    std::printf("  %s is %s\n", name.c_str(), file.c_str());
  }
  check(!process::which("no-such-program"), "a program that does not exist is not found");
}

void report_a_crash() {
  const run_result crash = run_example("crash_report.exe");
  check(crash.status == 0xC0000005, "the exit status of a crash");
  show_report(crash.output, "Abnormal termination:", " plan_route+");
  check(find(crash.output, " distance_of+") < find(crash.output, " length_of+"), "the order of the calls");
}

void report_a_fatal_error() {
  const run_result end = run_example("crash_report.exe", {"assert"});
  check(end.status == 3, "the exit status of a fatal error");
  check(find(end.output, "the route leads nowhere") < find(end.output, "Function: "), "the message of the run-time");
  show_report(end.output, "Assertion in ", "check_route+");
}

void restart_a_service() {
  const run_result end = run_example("service.exe", {"--restarts", "1", "--crash-after", "2"});
  check(end.status == 1, "the exit status of a service that gave up");
  const auto crash = find(end.output, "the worker ended: access violation (0xC0000005)");
  const auto again = std::find_if(crash, end.output.end(),
                                  [](const std::string& line) { return line.find("job 1 is done") != line.npos; });
  check(crash != end.output.end() && again != end.output.end(), "a worker that crashes and is started again");
  const auto report = std::find_if(
      crash, again, [](const std::string& line) { return line.rfind("report: Current Thread: 'worker'", 0) == 0; });
  check(report != again, "the worker's report, which its parent shows");
  std::printf("  …\n  %s\n  …\n  %s\n  …\n  %s\n", crash->c_str(), again->c_str(), end.output.back().c_str());
}

void run_fifty_commands() {
  const run_result done = run_example("build.exe", {"--parallel", "8"});
  check(done.status == 0, "the exit status");
  const auto sum = find(done.output, "50 of 50 commands run, 0 failed");
  check(sum != done.output.end(), "the number of commands");
  auto place = done.output.begin();
  for (int i = 1; i <= 50; ++i) {
    const std::string text = "this is command " + std::to_string(i);
    place = std::find_if(place, done.output.end(), [&](const std::string& line) { return line.rfind(text, 0) == 0; });
  }
  check(place != done.output.end(), "their outputs, in their order");
  std::printf("  %s\n", sum->c_str());
}

void speak_two_languages() {
  const run_result said = run_example("user_error.exe");
  check(said.status == 0, "the exit status");
  check(find(said.output, "in en: You asked for 5") < find(said.output, "in de: Von E27 sind"), "both languages");
  print(said.output);
}

void show_memory() {
  const run_result said = run_example(
      "memory.exe", {}, {{"TESSEL_MEM_MGR", "release,aligncheck,turbo"}, {"QX_ALIGNED_HEAP_ALIGNMENT", "64"}});
  check(said.status == 0, "the exit status");
  for (const char* const part : {"unrecognized option 'turbo'", "alignment_checking is ENABLED", "alignment of 64",
                                 "its block goes back", "pressure of at most 100"}) {
    check(find(said.output, part) != said.output.end(), part);
  }
  print(said.output);
  const run_result arena = run_example("memory.exe", {}, {{"QX_ALIGNED_HEAP_ALIGNMENT", "dlmalloc"}});
  const auto block = find(arena.output, "block of 1000000 bytes");
  check(arena.status == 0 && block != arena.output.end(), "a block of the arena");
  std::printf("  the same from the private arena:\n  %s\n", block->c_str());
}

void corrupt_the_heap() {
  const run_result end = run_example("memory.exe", {"--corrupt"}, {{"QX_ALIGNED_HEAP_ALIGNMENT", "32"}});
  check(end.status == 3, "the exit status of a fatal error");
  const auto message = find(end.output, "The pointer passed to 'vector_check' is invalid");
  const auto header = find(end.output, "HEADER->CHECK:     2021161080 (0x78787878)");
  check(message < header && header != end.output.end(), "the heap's report, with what it found in the header");
  std::printf("  %s\n  …\n  %s\n", message->c_str(), header->c_str());
}

void convert_a_file() {
  const std::filesystem::path folder = std::filesystem::temp_directory_path();
  const std::string in = (folder / "qxfl-tour-in.txt").string();
  const std::string out = (folder / "qxfl-tour-out.txt").string();
  std::ofstream(in, std::ios_base::binary)
      << "\x83\x65\x83\x58\x83\x67 \xE9";  // "test" in katakana, and half a character
  const run_result strict = run_example("transcode.exe", {"--strict", "Shift_JIS", "UTF-8", in, out});
  check(strict.status == 1 && !std::filesystem::exists(out),
        "a strict conversion that ends at ill-formed bytes and leaves no file");
  const run_result done = run_example("transcode.exe", {"Shift_JIS", "UTF-8", in, out});
  check(done.status == 0 && done.output.empty(), "a conversion without a word");
  std::string text;
  std::getline(std::ifstream(out, std::ios_base::binary), text);
  std::printf("  %s\n  and without --strict: %s\n", strict.output.at(0).c_str(), text.c_str());
  std::remove(in.c_str());
  std::remove(out.c_str());
  check(text == "\u30C6\u30B9\u30C8 \uFFFD", "the text in UTF-8");
}

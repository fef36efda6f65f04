// The start of an empty program that is linked with the library, from its creation to its end, against the same program
// with the same run-time libraries and without ours; and against that with as many libraries as ours, which are empty:
// the difference between the two rows is what the system needs for mapping seven files more, whatever is in them.

#include "row.hpp"
#include "windows_support.hpp"

#include <algorithm>
#include <cctype>
#include <set>
#include <string>

namespace {

std::wstring path_of(const wchar_t* program) {
  const std::wstring& child = bench::child_path();
  return child.substr(0, child.find_last_of(L'\\') + 1) + program;
}

// Starts the program, gives what it wrote and waits for its end.
std::string run(const std::wstring& program, const wchar_t* argument) {
  bench::child started = bench::start_program(program, argument, nullptr);
  std::string text;
  char block[4096];
  while (const DWORD count = bench::read_some(started.output.get(), block, sizeof block)) {
    text.append(block, count);
  }
  bench::check(WaitForSingleObject(started.process.get(), INFINITE) == WAIT_OBJECT_0, "WaitForSingleObject");
  DWORD code = 1;
  bench::check(GetExitCodeProcess(started.process.get(), &code) && code == 0, "an empty program");
  return text;
}

// The libraries of a program, ours and the empty ones excepted.
std::set<std::string> other_libraries(const std::wstring& program, std::size_t expected_own) {
  std::string text = run(program, L"modules");
  std::transform(text.begin(), text.end(), text.begin(), [](unsigned char c) { return std::tolower(c); });
  std::set<std::string> names;
  std::size_t own = 0;
  for (std::size_t begin = 0, end; (end = text.find_first_of("\r\n", begin)) != text.npos; begin = end + 1) {
    const std::string name = text.substr(begin, end - begin);
    if (name.starts_with("libqx") || name.starts_with("start_empty")) {
      ++own;
    } else if (name.ends_with(".dll")) {
      names.insert(name);
    }
  }
  bench::check(own == expected_own, "libraries of ours or empty ones");
  return names;
}

constexpr std::size_t our_libraries = 7;

bench::contender start(const wchar_t* program) {
  return {[path = path_of(program)](bench::product& result) {
    run(path, nullptr);
    result.add("ended");
  }};
}

}  // namespace

int main(int argc, char** argv) {
  const auto ours = L"start_with_library.exe", bare = L"start_bare.exe", empty = L"start_with_empty_libraries.exe";
  const auto expected = other_libraries(path_of(bare), 0);
  bench::check(other_libraries(path_of(ours), our_libraries) == expected, "the same libraries beside ours");
  bench::check(other_libraries(path_of(empty), our_libraries) == expected, "the same libraries beside empty ones");
  bench::add_row("start_vs_runtime_libraries", start(ours), start(bare));
  bench::add_row("start_vs_empty_libraries", start(ours), start(empty));
  return bench::run(argc, argv);
}

// child_write [--lines N | --bytes N] [--stderr] [--crlf | --lf] [--seed S]
//
// Writes N numbered lines (ending in LF, or with --crlf in CR LF) or N pseudo-random bytes to standard output, or with
// --stderr to standard error. pattern.hpp says which and makes the same for the reader. S is 1 unless given.
#include "child_io.hpp"

#include <cwchar>

#include "pattern.hpp"

namespace {

struct options {
  unsigned long long lines = 0;
  unsigned long long bytes = 0;
  unsigned long long seed = 1;
  bool to_stderr = false;
  std::string_view line_end = "\n";
};

bool parse(int count, wchar_t** arguments, options& into) {
  for (int at = 1; at < count; ++at) {
    const std::wstring_view name = arguments[at];
    if (name == L"--stderr") {
      into.to_stderr = true;
    } else if (name == L"--crlf" || name == L"--lf") {
      into.line_end = name == L"--crlf" ? "\r\n" : "\n";
    } else if (name == L"--lines" || name == L"--bytes" || name == L"--seed") {
      if (++at == count)
        return false;
      auto& number = name == L"--lines" ? into.lines : name == L"--bytes" ? into.bytes : into.seed;
      number = std::wcstoull(arguments[at], nullptr, 0);
    } else {
      return false;
    }
  }
  return true;
}

}  // namespace

int wmain(int count, wchar_t** arguments) {
  options given;
  if (!parse(count, arguments, given))
    return child::usage("usage: child_write [--lines N | --bytes N] [--stderr] [--crlf | --lf] [--seed S]\n");
  const HANDLE to = given.to_stderr ? child::err() : child::out();
  const std::string text = given.bytes != 0 ? child_pattern::bytes(static_cast<std::size_t>(given.bytes), given.seed)
                                            : child_pattern::lines(given.lines, given.line_end);
  return child::write_all(to, text) ? 0 : child::io_error;
}

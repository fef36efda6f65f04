#include "options.hpp"

#include <i18n/convert.hpp>

#include <cmath>
#include <stdexcept>
#include <vector>

namespace {

std::string to_utf8(const wchar_t* text) {
  const std::wstring wide(text);
  return fl::i18n::ustring_to_utf8(fl::ustring(wide.begin(), wide.end()));
}

std::chrono::milliseconds parse_seconds(const std::string& text) {
  std::size_t used = 0;
  double seconds = -1;
  try {
    seconds = std::stod(text, &used);
  } catch (const std::exception&) {
    used = 0;
  }
  constexpr double longest = 1e6;  // about twelve days
  if (used == 0 || used != text.size() || !std::isfinite(seconds) || seconds < 0 || seconds > longest)
    throw std::invalid_argument("--timeout takes seconds, such as 2.5, and not '" + text + "'");
  return std::chrono::milliseconds(std::llround(seconds * 1000));
}

}  // namespace

const char* const usage_text =
    "usage: run [--in FILE] [--out FILE] [--timeout SECONDS] PROGRAM ARGS...\n"
    "\n"
    "Runs PROGRAM (the path of an executable file), shows its output as it comes, and tells its exit status and the\n"
    "time it took. Ctrl-C and the timeout end it.\n"
    "\n"
    "exit status: the program's own; 2 wrong usage, 124 timeout, 127 not started, 130 Ctrl-C\n";

run_options parse_options(int argc, wchar_t** argv) {
  std::vector<std::string> words;
  for (int i = 1; i < argc; ++i)
    words.push_back(to_utf8(argv[i]));

  run_options options{{}, {}, {}, foundation::core::process::command(std::string())};
  std::size_t next = 0;
  const auto value = [&] {
    if (next + 1 >= words.size())
      throw std::invalid_argument(words[next] + " needs a value");
    return words[++next];
  };
  for (; next < words.size() && words[next].rfind("--", 0) == 0; ++next) {
    if (words[next] == "--in")
      options.input_file = value();
    else if (words[next] == "--out")
      options.output_file = value();
    else if (words[next] == "--timeout")
      options.timeout = parse_seconds(value());
    else
      throw std::invalid_argument("there is no option '" + words[next] + "'");
  }
  if (next == words.size())
    throw std::invalid_argument("no program is named");
  options.command.name(words[next]);
  options.command.args().assign(words.begin() + static_cast<std::ptrdiff_t>(next) + 1, words.end());
  return options;
}

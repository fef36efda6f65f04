#include "options.hpp"

#include <i18n/convert.hpp>

#include <cmath>
#include <stdexcept>
#include <vector>

namespace {

using foundation::core::process::ElevationLevel;

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
  if (used == 0 || used != text.size() || !std::isfinite(seconds) || seconds < 0 || seconds > longest) {
    throw std::invalid_argument("--timeout takes seconds, such as 2.5, and not '" + text + "'");
  }
  return std::chrono::milliseconds(std::llround(seconds * 1000));
}

void set_elevation(run_options& options, ElevationLevel level) {
  if (options.elevation != ElevationLevel::Unset && options.elevation != level) {
    throw std::invalid_argument("--elevated and --non-elevated exclude each other");
  }
  options.elevation = level;
}

bool read_flag(const std::string& word, run_options& options) {
  if (word == "--elevated") {
    set_elevation(options, ElevationLevel::Elevated);
  } else if (word == "--non-elevated") {
    set_elevation(options, ElevationLevel::NonElevated);
  } else if (word == "--detached") {
    options.detached = true;
  } else if (word == "--no-window") {
    options.no_window = true;
  } else {
    return false;
  }
  return true;
}

void check_combination(const run_options& options) {
  if (options.through_the_shell() && (options.input_file || options.output_file)) {
    throw std::invalid_argument("an elevated program cannot be redirected: --in and --out do not go with --elevated");
  }
  // Where this program is elevated the user would be ignored, and elsewhere there is no elevation to take away.
  if (options.user && options.elevation == ElevationLevel::NonElevated) {
    throw std::invalid_argument("--user and --non-elevated exclude each other");
  }
}

}  // namespace

const char* const usage_text =
    "usage: run [OPTIONS] PROGRAM ARGS...\n"
    "\n"
    "Runs PROGRAM (the path of an executable file), shows its output as it comes, and tells its exit status and the\n"
    "time it took. Ctrl-C and the timeout end it.\n"
    "\n"
    "  --in FILE          lets it read its standard input from FILE\n"
    "  --out FILE         writes its standard output to FILE, which is emptied first\n"
    "  --timeout SECONDS  ends it after this time\n"
    "  --user NAME        runs it as another user: USER, USER@DOMAIN or DOMAIN\\USER. The password is asked for,\n"
    "                     without echo where standard input is a console. Elsewhere it is the first line of standard\n"
    "                     input, and the program gets the rest, unless --in is given.\n"
    "  --elevated         runs it elevated; the system may ask for consent. The shell starts it, so that its output\n"
    "                     is not shown, it cannot be redirected, and --detached and --no-window change nothing.\n"
    "                     With --user it is not elevated.\n"
    "  --non-elevated     runs it without the elevation that run itself may have\n"
    "  --detached         runs it without a console\n"
    "  --no-window        runs it in a console that is not shown; without effect beside --detached\n"
    "\n"
    "exit status: the program's own; 2 wrong usage, 124 timeout, 127 not started, 130 Ctrl-C\n";

run_options parse_options(int argc, wchar_t** argv) {
  std::vector<std::string> words;
  for (int i = 1; i < argc; ++i) {
    words.push_back(to_utf8(argv[i]));
  }

  run_options options;
  std::size_t next = 0;
  const auto value = [&] {
    if (next + 1 >= words.size()) {
      throw std::invalid_argument(words[next] + " needs a value");
    }
    return words[++next];
  };
  for (; next < words.size() && words[next].rfind("--", 0) == 0; ++next) {
    if (words[next] == "--help") {
      options.help = true;
      return options;
    }
    if (words[next] == "--in") {
      options.input_file = value();
    } else if (words[next] == "--out") {
      options.output_file = value();
    } else if (words[next] == "--timeout") {
      options.timeout = parse_seconds(value());
    } else if (words[next] == "--user") {
      options.user = value();
    } else if (!read_flag(words[next], options)) {
      throw std::invalid_argument("there is no option '" + words[next] + "'");
    }
  }
  if (next == words.size()) {
    throw std::invalid_argument("no program is named");
  }
  check_combination(options);
  options.command.name(words[next]);
  options.command.args().assign(words.begin() + static_cast<std::ptrdiff_t>(next) + 1, words.end());
  return options;
}

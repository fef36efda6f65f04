// build: runs the commands of a list, some at a time, as a build tool does: a line of progress, what failed commands
// wrote, a time limit for each. Ctrl-C ends whatever runs, with all that it has started.
#include <fl/process/which.hpp>
#include <i18n/convert.hpp>

#include <kit/arguments.hpp>
#include <kit/console.hpp>
#include <kit/run_all.hpp>

#include <windows.h>

#include <filesystem>
#include <fstream>
#include <sstream>
#include <stdexcept>

namespace kit = foundation::kit;
namespace process = foundation::core::process;

namespace {

constexpr int exit_failed = 1, exit_usage = 2, exit_interrupted = 130;

const char* const usage_text =
    "usage: build [--parallel N] [--timeout SECONDS] [--keep-going] [FILE]\n"
    "\n"
    "Runs the commands of FILE (UTF-8, one a line, # begins a comment), N at a time, or as many as there are "
    "processors.\n"
    "Without FILE it runs 50 commands that only say their number.\n"
    "exit status: 0 all succeeded, 1 one failed, 2 usage, 130 interrupted\n";

struct build_options {
  unsigned parallel = 0;
  kit::run_limits limits = {.output = 1u << 20};
  bool keep_going = false, help = false;
  std::string file;
};

// Throws std::logic_error for what cannot be understood.
build_options parse(const std::vector<std::string>& words) {
  build_options options;
  for (std::size_t i = 1; i < words.size(); ++i) {
    if (words[i] == "--parallel") {
      options.parallel = static_cast<unsigned>(std::stoul(words.at(++i)));
    } else if (words[i] == "--timeout") {
      options.limits.time = std::chrono::seconds(std::stoi(words.at(++i)));
    } else if (words[i] == "--keep-going") {
      options.keep_going = true;
    } else if (words[i] == "--help") {
      options.help = true;
    } else if (!options.file.empty() || words[i].starts_with("--")) {
      throw std::invalid_argument(words[i]);
    } else {
      options.file = words[i];
    }
  }
  return options;
}

process::command to_command(const std::string& line) {
  const std::vector<std::string> words = kit::split_command_line(line);
  process::command command(process::which(words[0]).value_or(words[0]));
  command.args().assign(words.begin() + 1, words.end());
  return command;
}

std::vector<process::command> read_commands(const std::string& name) {
  std::stringstream lines;
  for (int i = 1; name.empty() && i <= 50; ++i) {
    lines << "cmd /c echo this is command " << i << '\n';
  }
  if (!name.empty()) {
    const std::ifstream file(std::filesystem::path(fl::i18n::utf8_to_ustring(name)));
    if (!file) {
      throw std::runtime_error("cannot read " + name);
    }
    lines << file.rdbuf();
    lines.clear();  // An empty file is no failure.
  }
  std::vector<process::command> commands;
  for (std::string line; std::getline(lines >> std::ws, line);) {
    line.erase(line.find_last_not_of(" \t\r") + 1);
    if (line[0] != '#') {
      commands.push_back(to_command(line));
    }
  }
  return commands;
}

const kit::cancellation& interruption() {
  static const kit::cancellation request;
  return request;
}

BOOL WINAPI on_console_event(DWORD) {
  interruption().request();
  return TRUE;
}

void tell_failure(const process::command& command, const kit::run_outcome& outcome) {
  try {
    outcome.error ? std::rethrow_exception(outcome.error) : throw kit::run_error(command, outcome.result);
  } catch (const std::exception& e) {
    kit::console().err() << "build: " << e.what() << '\n';
  }
}

int build(const build_options& options) {
  const std::vector<process::command> commands = read_commands(options.file);
  std::size_t done = 0, failed = 0;
  kit::run_all_options how = {.stop_at_failure = !options.keep_going, .cancellation = interruption()};
  how.on_end = [&](std::size_t index, const kit::run_outcome& outcome) {
    kit::console().out() << '[' << ++done << '/' << commands.size() << "] " << commands[index] << std::endl;
    if (outcome.error || (!outcome.succeeded() && outcome.result.end != kit::run_end::cancelled)) {
      ++failed;
      tell_failure(commands[index], outcome);
    }
  };
  kit::run_all(commands, options.parallel, options.limits, how);
  kit::console().out() << done << " of " << commands.size() << " commands run, " << failed << " failed\n";
  return interruption().requested() ? exit_interrupted : failed != 0 ? exit_failed : 0;
}

}  // namespace

int main() {
  try {
    const build_options options = parse(kit::utf8_arguments());
    ::SetConsoleCtrlHandler(on_console_event, TRUE);
    if (!options.help) {
      return build(options);
    }
    kit::console().out() << usage_text;
    return 0;
  } catch (const std::logic_error&) {
    kit::console().err() << usage_text;
    return exit_usage;
  } catch (const std::exception& e) {
    kit::console().err() << "build: " << e.what() << '\n';
    return exit_failed;
  }
}

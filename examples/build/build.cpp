// build: runs the commands of a list, some at a time, as a build tool does: a time limit for each, and what they wrote
// in the order of the list. Ctrl-C ends whatever runs, with all that it has started.
#include <fl/process/which.hpp>
#include <i18n/convert.hpp>

#include <kit/arguments.hpp>
#include <kit/console.hpp>
#include <kit/exit_code_text.hpp>
#include <kit/run_all.hpp>

#include <windows.h>

#include <filesystem>
#include <fstream>
#include <optional>
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
    "processors,\n"
    "60 seconds each unless said otherwise, and shows what they wrote in the order of the list.\n"
    "Without FILE it runs 50 commands that only say their number.\n"
    "exit status: 0 all succeeded, 1 one failed, 2 usage, 130 interrupted\n";

struct build_options {
  unsigned parallel = 0;
  kit::run_limits limits = {.time = std::chrono::seconds(60), .output = 1u << 20};
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

/// What a command wrote, and how it failed.
std::string told(const kit::run_outcome& outcome) try {
  if (outcome.error) {
    std::rethrow_exception(outcome.error);
  }
  const kit::run_result& run = outcome.result;
  const std::string how = run.end == kit::run_end::by_itself    ? kit::exit_code_text(run.status)
                          : run.end == kit::run_end::time_limit ? "ended at its time limit"
                                                                : "ended with the others";
  return run.out.text() + run.err.text() + (outcome.succeeded() ? "" : "build: " + how + '\n');
} catch (const std::exception& e) {
  return std::string("build: ") + e.what() + '\n';
}

int build(const build_options& options) {
  const std::vector<process::command> commands = read_commands(options.file);
  std::size_t done = 0, failed = 0;
  std::vector<std::optional<std::string>> texts(commands.size());  // of those that have ended, until it is their turn
  std::size_t turn = 0;
  kit::run_all_options how = {.stop_at_failure = !options.keep_going, .cancellation = interruption()};
  how.on_end = [&](std::size_t index, const kit::run_outcome& outcome) {
    ++done;
    failed += outcome.error || (!outcome.succeeded() && outcome.result.end != kit::run_end::cancelled) ? 1 : 0;
    for (texts[index] = told(outcome); turn != texts.size() && texts[turn]; texts[turn++].reset()) {
      kit::console().out() << '[' << turn + 1 << '/' << texts.size() << "] " << commands[turn] << '\n' << *texts[turn];
    }
    kit::console().out().flush();
  };
  kit::run_all(commands, options.parallel, options.limits, how);
  kit::console().out() << done << " of " << commands.size() << " commands run, " << failed << " failed\n";
  return interruption().requested() ? exit_interrupted : failed != 0 ? exit_failed : 0;
}

}  // namespace

int main() {
  try {
    const build_options options = parse(kit::utf8_arguments());
    ::SetConsoleCtrlHandler([](DWORD) -> BOOL { return interruption().request(), TRUE; }, TRUE);
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

// A service that is watched over: the program starts itself a second time as the worker, in a job, collects the report
// that the worker leaves when it crashes, and starts it again.
#include <fl/diag.hpp>
#include <fl/process.hpp>

#include <kit/crash_handler.hpp>
#include <kit/exit_code_text.hpp>
#include <kit/job.hpp>

#include <algorithm>
#include <atomic>
#include <chrono>
#include <csignal>
#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <string>
#include <thread>

namespace kit = foundation::kit;
namespace process = foundation::core::process;
using namespace std::chrono_literals;

namespace {

const char* const usage_text =
    "usage: service [--restarts N] [--crash-after N]\n"
    "\n"
    "Runs a worker that does ten jobs, and starts it again when it dies. Ctrl-C ends both.\n"
    "The report of a crash is shown, and kept with its dump as service-crash-N in the folder of temporary files.\n"
    "\n"
    "  --restarts N     gives up after N restarts (default 5)\n"
    "  --crash-after N  lets the worker crash behind its Nth job, for trying all this\n"
    "\n"
    "exit status: 0, or 1 if it gave up\n";

struct settings {
  int worker = 0;  // 1: this is the worker
  int restarts = 5;
  int crash_after = 0;  // 0: never
};

std::atomic<bool> stopped{false};

std::filesystem::path crash_file(const std::string& rest) {
  return std::filesystem::temp_directory_path() / ("service-crash" + rest);
}

/// Shows the report that a worker has left, and puts it away.
void collect_report(int number) {
  std::ifstream report(crash_file(".txt"));
  for (std::string line; std::getline(report, line);) {
    std::printf("report: %s\n", line.c_str());
  }
  report.close();
  for (const std::string kind : {".txt", ".dmp"}) {
    std::error_code there_is_none;
    std::filesystem::rename(crash_file(kind), crash_file("-" + std::to_string(number) + kind), there_is_none);
  }
}

int* volatile missing_part = nullptr;

int work(const settings& how) {
  kit::crash_handler_options options;
  options.standard_error = false;
  options.report_file = crash_file(".txt").u16string();
  options.dump.file = crash_file(".dmp").u16string();
  const kit::crash_handler handler = kit::install_crash_handler(options);
  foundation::core::diag::setCurrentThreadName("worker");

  for (int job = 1; job <= 10; ++job) {
    std::this_thread::sleep_for(50ms);
    std::printf("worker: job %d is done\n", job);
    std::fflush(stdout);
    if (job == how.crash_after) {
      *missing_part = job;
    }
  }
  return 0;
}

/// Runs a worker to its end. Empty if it was stopped instead.
std::string run_worker(const settings& how) {
  const kit::job all_of_it;  // The worker's own children end with it, too.
  process::context context;
  all_of_it.hold(context);
  context.explicitlyInheritHandles(true);
  process::command command(process::this_process::absolute_path());
  command.args() = {"--worker", "1", "--crash-after", std::to_string(how.crash_after)};
  process::process worker(command, context);
  while (!worker.exited() && !stopped) {
    std::this_thread::sleep_for(20ms);
  }
  return stopped ? "" : kit::exit_code_text(worker.detailed_exit_status());
}

int supervise(const settings& how) {
  std::signal(SIGINT, [](int) { stopped = true; });
  auto pause = 0ms;
  for (int restarts = 0;; ++restarts) {
    const auto begin = std::chrono::steady_clock::now();
    const std::string end = run_worker(how);
    std::printf("supervisor: the worker %s\n", end.empty() ? "was stopped" : ("ended: " + end).c_str());
    if (end.empty() || end == "success") {
      return 0;
    }
    collect_report(restarts + 1);
    if (restarts == how.restarts) {
      std::printf("supervisor: gave up after %d restarts\n", restarts);
      return 1;
    }
    pause = std::chrono::steady_clock::now() - begin > 60s ? 0ms : std::clamp(2 * pause, 200ms, 10000ms);
    std::fflush(stdout);
    std::this_thread::sleep_for(pause);
  }
}

/// False if the arguments are none of ours.
bool read(int argc, char** argv, settings& into) {
  for (int i = 1; i < argc; i += 2) {
    const std::string word = argv[i];
    int* const number = word == "--restarts"      ? &into.restarts
                        : word == "--crash-after" ? &into.crash_after
                        : word == "--worker"      ? &into.worker
                                                  : nullptr;
    if (number == nullptr || i + 1 == argc) {
      return false;
    }
    *number = std::atoi(argv[i + 1]);
  }
  return true;
}

}  // namespace

int main(int argc, char** argv) try {
  settings how;
  if (!read(argc, argv, how)) {
    const bool asked = argc == 2 && std::string(argv[1]) == "--help";
    std::fputs(usage_text, asked ? stdout : stderr);
    return asked ? 0 : 2;
  }
  return how.worker != 0 ? work(how) : supervise(how);
} catch (const std::exception& error) {
  std::fprintf(stderr, "service: %s\n", error.what());
  return 2;
}

// A service that is watched over: the program starts itself a second time as the worker, in a job, starts it again when
// it dies, and says what it died of. The worker reports its own crashes.
#include <fl/diag.hpp>
#include <fl/process.hpp>

#include <kit/crash_handler.hpp>
#include <kit/describe_system.hpp>
#include <kit/exit_code_text.hpp>
#include <kit/job.hpp>

#include <algorithm>
#include <atomic>
#include <chrono>
#include <csignal>
#include <cstdio>
#include <cstdlib>
#include <exception>
#include <filesystem>
#include <string>
#include <string_view>
#include <thread>

namespace kit = foundation::kit;
namespace process = foundation::core::process;
using namespace std::chrono_literals;

namespace {

const char* const usage_text =
    "usage: service [--restarts N] [--crash-after N]\n"
    "\n"
    "Runs a worker that does ten jobs, and starts it again when it dies. Ctrl-C ends both.\n"
    "A crash leaves service-crash.txt and service-crash.dmp in the folder of temporary files.\n"
    "\n"
    "  --restarts N     gives up after N restarts (default 5)\n"
    "  --crash-after N  lets the worker crash behind its Nth job, for trying all this\n"
    "\n"
    "exit status: 0, or 1 if it gave up\n";

constexpr int jobs = 10;
constexpr auto shortest_pause = 200ms, longest_pause = 10000ms;
constexpr auto healthy_time = 60s;  // A worker that has run so long is started again without a pause.

struct settings {
  bool worker = false;
  int restarts = 5;
  int crash_after = 0;  // 0: never
};

std::atomic<bool> stopped{false};

void stop(int) {
  stopped = true;
}

int* volatile missing_part = nullptr;

int work(const settings& how) {
  const std::filesystem::path folder = std::filesystem::temp_directory_path();
  kit::crash_handler_options options;
  options.standard_error = false;
  options.report_file = (folder / "service-crash.txt").u16string();
  options.dump.file = (folder / "service-crash.dmp").u16string();
  const kit::crash_handler handler = kit::install_crash_handler(options);
  foundation::core::diag::setCurrentThreadName("worker");

  std::printf("%s", kit::to_string(kit::describe_system()).c_str());
  for (int job = 1; job <= jobs; ++job) {
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
  command.args() = {"--worker", "--crash-after", std::to_string(how.crash_after)};
  process::process worker(command, context);
  while (!worker.exited()) {
    if (stopped) {
      return "";
    }
    std::this_thread::sleep_for(20ms);
  }
  return kit::exit_code_text(worker.detailed_exit_status());
}

int supervise(const settings& how) {
  std::signal(SIGINT, stop);
  auto pause = shortest_pause;
  for (int restarts = 0;; ++restarts) {
    const auto begin = std::chrono::steady_clock::now();
    const std::string end = run_worker(how);
    std::printf("supervisor: the worker %s\n", end.empty() ? "was stopped" : ("ended: " + end).c_str());
    if (end.empty() || end == "success") {
      return 0;
    }
    if (restarts == how.restarts) {
      std::printf("supervisor: gave up after %d restarts\n", restarts);
      return 1;
    }
    const bool was_healthy = std::chrono::steady_clock::now() - begin > healthy_time;
    pause = was_healthy ? shortest_pause : std::min(2 * pause, longest_pause);
    std::fflush(stdout);
    std::this_thread::sleep_for(was_healthy ? 0ms : pause / 2);
  }
}

/// False if the arguments are none of ours.
bool read(int argc, char** argv, settings& into) {
  for (int i = 1; i < argc; ++i) {
    const std::string_view word = argv[i];
    const bool has_number = i + 1 < argc && std::atoi(argv[i + 1]) >= 0;
    if (word == "--worker") {
      into.worker = true;
    } else if (word == "--restarts" && has_number) {
      into.restarts = std::atoi(argv[++i]);
    } else if (word == "--crash-after" && has_number) {
      into.crash_after = std::atoi(argv[++i]);
    } else if (word != "--supervise") {
      return false;
    }
  }
  return true;
}

}  // namespace

int main(int argc, char** argv) try {
  settings how;
  if (!read(argc, argv, how)) {
    const bool asked = argc == 2 && std::string_view(argv[1]) == "--help";
    std::fputs(usage_text, asked ? stdout : stderr);
    return asked ? 0 : 2;
  }
  return how.worker ? work(how) : supervise(how);
} catch (const std::exception& error) {
  std::fprintf(stderr, "service: %s\n", error.what());
  return 2;
}

// run: launches a program through the library, streams its output, and shows how it ended.

#include <fl/process.hpp>
#include <i18n/convert.hpp>

#include "options.hpp"
#include "password.hpp"

#include <boost/system/system_error.hpp>

#include <windows.h>
#include <fcntl.h>
#include <io.h>

#include <atomic>
#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <future>
#include <mutex>
#include <optional>
#include <stdexcept>
#include <thread>

namespace process = foundation::core::process;

extern "C" {
int _dowildcard = 0;  // The program's arguments go to the child as they were written.
}

namespace {

constexpr int exit_usage = 2;
constexpr int exit_timeout = 124;
constexpr int exit_not_started = 127;
constexpr int exit_interrupted = 130;

std::atomic<bool> interrupted{false};

// The child that Ctrl-C ends. The handler runs on a thread of its own, so that the lock keeps the child in being.
std::mutex running_mutex;
process::process* running_child = nullptr;

void kill_running_child() {
  const std::lock_guard lock(running_mutex);
  try {
    if (running_child) {
      running_child->kill();
    }
  } catch (const std::exception&) {
    // It has ended by itself, perhaps by the same Ctrl-C.
  }
}

class ended_by_ctrl_c {
 public:
  explicit ended_by_ctrl_c(process::process& child) {
    set(&child);
    if (interrupted) {
      kill_running_child();
    }
  }
  ended_by_ctrl_c(const ended_by_ctrl_c&) = delete;
  ended_by_ctrl_c& operator=(const ended_by_ctrl_c&) = delete;
  ~ended_by_ctrl_c() { set(nullptr); }

 private:
  static void set(process::process* child) {
    const std::lock_guard lock(running_mutex);
    running_child = child;
  }
};

BOOL WINAPI on_console_event(DWORD event) {
  if (event != CTRL_C_EVENT && event != CTRL_BREAK_EVENT && event != CTRL_CLOSE_EVENT) {
    return FALSE;
  }
  interrupted = true;
  kill_running_child();
  return TRUE;
}

// Copies until the child and all it started have closed their ends. Binary: not one byte is changed on its way.
void stream_to_stdout(process::iopipe_device pipe) {
  char buffer[65536];
  while (const std::streamsize n = pipe.read(buffer, sizeof buffer)) {
    std::fwrite(buffer, 1, static_cast<std::size_t>(n), stdout);
    std::fflush(stdout);
  }
}

// Waits for the end of the child, or kills it when its time is over. Returns whether it ended by itself.
bool await_end(process::process& child, const run_options& options) {
  const auto status = child.exit_status_async();
  if (!options.timeout ||
      status.wait_for(boost::chrono::milliseconds(options.timeout->count())) == boost::future_status::ready) {
    status.wait();
    return true;
  }
  try {
    child.kill();
  } catch (const process::process_kill_error&) {
    return true;  // It ended at the last moment.
  } catch (const boost::system::system_error& e) {
    // It has more rights than this program, for instance.
    std::fprintf(stderr, "run: timeout, but the program cannot be ended: %s\n", e.what());
    status.wait();
    return true;
  }
  status.wait();
  return false;
}

void set_streams(process::context& how, const run_options& options, process::iopipe& output) {
  if (options.through_the_shell()) {
    std::fputs("run: an elevated program shares no streams with this one: its output is not shown\n", stderr);
    output.close_for_write();  // Nobody else will.
    return;
  }
  if (options.input_file) {
    how.std_in(process::read_from_file(*options.input_file));
  }
  if (options.output_file) {
    how.std_out(process::overwrite_file(*options.output_file));
  } else {
    how.std_out(process::pipe_to(output));
  }
}

process::context make_context(const run_options& options, process::iopipe& output) {
  process::context how;
  set_streams(how, options, output);
  how.explicitlyInheritHandles(true);
  how.elevationLevel(options.elevation);
  if (options.detached) {
    how.detached_process(true);
  }
  if (options.no_window) {
    how.create_no_window(true);
  }
  if (options.user) {
    how.user(*options.user, password(*options.user).text());
  }
  if (interrupted) {
    throw password_interrupted();
  }
  return how;
}

// The context keeps a copy of the password, which must not lie about for longer than the launch takes.
class password_in_use {
 public:
  explicit password_in_use(process::context& how) : how_(how) {}
  password_in_use(const password_in_use&) = delete;
  password_in_use& operator=(const password_in_use&) = delete;
  ~password_in_use() {
    if (how_.user()) {
      SecureZeroMemory(const_cast<char*>(how_.user()->password.data()), how_.user()->password.size());
    }
  }

 private:
  process::context& how_;
};

process::process launch(const process::command& command, process::context& how) {
  const password_in_use until_launched(how);
  return process::process(command, how);
}

int run(const run_options& options) {
  process::iopipe output;
  process::context how = make_context(options, output);

  const auto start = std::chrono::steady_clock::now();
  process::process child = launch(options.command, how);
  std::optional<ended_by_ctrl_c> until_its_end(child);

  std::promise<void> streamed;
  std::future<void> all_streamed = streamed.get_future();
  std::jthread reader([device = output.device(), &options, &streamed] {
    if (!options.output_file) {
      stream_to_stdout(device);
    }
    streamed.set_value();
  });

  const bool in_time = await_end(child, options);
  until_its_end.reset();
  // What a killed child had started may go on and hold the pipe; then its output is not waited for.
  const bool ended_by_force = !in_time || interrupted;
  const bool complete = !ended_by_force || all_streamed.wait_for(std::chrono::seconds(1)) == std::future_status::ready;
  if (complete) {
    reader.join();
  }

  const std::chrono::duration<double> elapsed = std::chrono::steady_clock::now() - start;
  const auto status = child.detailed_exit_status();
  const auto* exited = std::get_if<process::detail::exited>(&status);
  const unsigned code = exited ? exited->exit_code : STILL_ACTIVE;
  std::fprintf(stderr, "run: %s%u (0x%08X) after %.3f s\n",
               interrupted ? "interrupted, exit status "
               : in_time   ? "exit status "
                           : "timeout, exit status ",
               code, code, elapsed.count());
  std::fflush(nullptr);
  const int result = interrupted ? exit_interrupted : in_time ? static_cast<int>(code) : exit_timeout;
  if (!complete) {
    std::_Exit(result);
  }
  return result;
}

// A failure of the launch, whose text ends its line by itself, and what may help.
void explain(const process::process_init_error& failure, const run_options& options) {
  std::fprintf(stderr, "run: %s", failure.what());
  std::error_code ignored;
  if (!std::filesystem::exists(fl::i18n::utf8_to_ustring(options.command.name()), ignored)) {
    std::fputs("run: a program is named by its path, PATH is not searched; which NAME finds one along PATH\n", stderr);
  }
}

int run_or_explain(const run_options& options) {
  if (options.help) {
    std::fputs(usage_text, stdout);
    return 0;
  }
  try {
    return run(options);
  } catch (const password_interrupted&) {
    std::fprintf(stderr, "run: interrupted\n");
    return exit_interrupted;
  } catch (const process::process_init_error& e) {
    explain(e, options);
  } catch (const process::process_bad_user& e) {
    std::fprintf(stderr, "run:%s", e.what());  // begins with a blank and ends its line
  } catch (const std::exception& e) {
    std::fprintf(stderr, "run: %s\n", e.what());
  }
  return exit_not_started;
}

}  // namespace

int wmain(int argc, wchar_t** argv) {
  _setmode(_fileno(stdout), _O_BINARY);
  SetConsoleCtrlHandler(on_console_event, TRUE);
  try {
    return run_or_explain(parse_options(argc, argv));
  } catch (const std::invalid_argument& e) {
    std::fprintf(stderr, "run: %s\n\n%s", e.what(), usage_text);
    return exit_usage;
  }
}

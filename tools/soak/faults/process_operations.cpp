// Children, this process, and what launches ask of the system. Stand-ins are launched but where a child must answer.

#include <fl/process.hpp>
#include <fl/process/testing.hpp>
#include <fl/process/this_process.hpp>
#include <fl/sysdep/windows/deelevate_utils.hpp>
#include <fl/sysdep/windows/process_impl.hpp>

#include "children.hpp"
#include "operation.hpp"

#include <shellapi.h>

namespace faults {
namespace {

namespace process = foundation::core::process;
namespace windows = foundation::core::sysdep::windows;
using children::stand_ins;

const process::command& any_command() {
  static const process::command made = children::command("exit", {"5", ""});
  return made;
}

void launch(trial& t, const process::context& how) {
  t.act([&] { t.see(std::to_string(process::process(any_command(), how).exit_status())); });
}

void launch_plain(trial& t) {
  const stand_ins no_processes(true);
  launch(t, small_context());
}

void launch_with_files(trial& t) {
  static const test_support::temp_dir folder;
  test_support::write_file(folder.file("in"), "");
  const stand_ins no_processes(true);
  process::context how = small_context();
  how.std_in(process::read_from_file(folder.file("in"))).std_out(process::overwrite_file(folder.file("out \u4e2d")));
  how.std_err(process::append_to_file(folder.file("err")));
  how.directory(folder.path().c_str());
  launch(t, how);
}

void launch_with_pipes(trial& t) {
  const stand_ins no_processes(true);
  process::iopipe in, out, extra;
  process::context how = small_context();
  how.std_in(process::pipe_from(in)).std_out(process::pipe_to(out)).std_err(process::merge_with_stdout());
  how.explicitlyInheritHandles(true);
  how.inherit_pipe(extra, process::open_mode::read | process::open_mode::write);
  launch(t, how);
}

void launch_without_elevation(trial& t) {
  const stand_ins no_processes(true);
  process::context how = small_context();
  how.elevationLevel(process::ElevationLevel::NonElevated);
  t.act([&] {
    try {
      process::process(any_command(), how).join();
    } catch (const process::process_init_error&) {
      t.see("refused");  // Wine has no tokens without elevation.
    }
  });
}

void launch_elevated(trial& t) {
  const stand_ins no_processes(true);
  static std::atomic<test_support::import_patch::any_function> original;
  const auto shell = +[](SHELLEXECUTEINFOA* request) -> BOOL {
    request->hProcess = ::CreateEventA(nullptr, TRUE, TRUE, nullptr);
    return TRUE;
  };
  const test_support::import_patch patch("libqxfl.dll", "ShellExecuteExA",
                                         reinterpret_cast<test_support::import_patch::any_function>(shell), original);
  process::context how = small_context();
  how.elevationLevel(process::ElevationLevel::Elevated);
  launch(t, how);
}

void launch_as_user(trial& t) {
  const stand_ins no_processes(true);
  process::context how = small_context();
  how.user("nobody", "no password");
  t.act([&] {
    try {
      process::process(any_command(), how);
    } catch (const process::process_init_error&) {
      t.see("refused");  // Wine makes no environment for the user.
    }
  });
}

void real_child(trial& t) {
  process::iopipe out(0);
  process::context how = small_context();
  how.std_out(process::pipe_to(out));
  how.explicitlyInheritHandles(true);
  static const process::command what = children::command("exit", {"5"});
  t.act([&] { t.see(std::to_string(process::process(what, how).exit_status())); });
}

// A child that runs until it is told to end.
template <class Action>
void with_child(trial& t, bool ended, Action action) {
  const stand_ins no_processes(ended);
  process::process child(any_command(), small_context());
  const HANDLE event = child.native_handle();
  action(child);
  ::SetEvent(event);
  ::CloseHandle(event);
  try {
    child.exit_status();
  } catch (const std::exception&) {
    t.see("given up");  // it was detached, or a refused wait is kept as its status
  }
}

void wait_for_child(trial& t) {
  with_child(t, true, [&](process::process& child) {
    t.act([&] { t.see(child.exited() ? "ended" : "runs"); });
    t.act([&] { child.join(); });
    t.act([&] { t.see(std::to_string(child.exit_status())); });
    t.act([&] { t.see(std::to_string(child.detailed_exit_status().index())); });
  });
}

void wait_in_background(trial& t) {
  with_child(t, true, [&](process::process& child) {
    t.act([&] { t.see(std::to_string(child.exit_status_async().get().index())); });
  });
  process::testing::join_all_async_procs();
}

void ask_child(trial& t) {
  with_child(t, false, [&](process::process& child) {
    t.act([&] { t.expect(child.id() == ::GetCurrentProcessId(), "another id"); });
    t.act([&] { ::CloseHandle(child.native_handle()); });
    t.act([&] { t.see(child.exited() ? "ended" : "runs"); });
  });
}

void move_child(trial& t) {
  with_child(t, false, [&](process::process& child) {
    t.act([&] {
      process::process moved(std::move(child));
      child = std::move(moved);
    });
  });
}

void detach_child(trial& t) {
  with_child(t, false, [&](process::process& child) { t.act([&] { child.detach(); }); });
}

void release_child(trial& t) {
  with_child(t, false, [&](process::process& child) { t.act([&] { ::CloseHandle(child.release()); }); });
}

void end_child(trial& t) {
  for (const bool kills : {true, false}) {
    process::process child(children::command("wait", {"qxfl-sweep-nothing"}));
    t.act([&] { kills ? child.kill() : child.terminate(); });
    const HANDLE handle = child.native_handle();
    ::TerminateProcess(handle, 1);
    ::CloseHandle(handle);
    try {
      child.join();
    } catch (const std::exception&) {
      t.see("given up");  // a refused wait is kept as its status
    }
  }
}

void child_memory(trial& t) {
  children::common_event end;
  process::process child(end.waiting());
  t.act([&] { t.expect(child.working_set_size() > 0, "holds nothing"); });
  end.set();
  try {
    child.join();
  } catch (const std::exception&) {
    t.see("given up");  // a refused wait is kept as its status
  }
}

void mock(trial& t) {
  const boost::function<int()> function = [] { return 5; };
  t.act([&] {
    process::mock_process child(function);
    t.see(std::to_string(child.exit_status()));
    child.join();
    t.expect(child.exited(), "runs");
  });
  const process::context how = small_context();
  t.act([&] {
    process::mock_process child(function, how);
    child.join();
    child.detach();
  });
}

void this_process(trial& t) {
  t.act([&] { t.expect(process::this_process::id() == ::GetCurrentProcessId(), "another id"); });
  t.act([&] { t.expect(!process::this_process::absolute_path().empty(), "no path"); });
  t.act([&] { t.expect(process::this_process::working_set_size() > 0, "holds nothing"); });
}

void find_program(trial& t) {
  t.act([&] { t.see(process::which("cmd").value_or("none")); });
  t.act([&] { t.see(process::which("no such program").value_or("none")); });
}

void waits(trial& t) {
  t.act([&] {
    process::testing::set_implementation_qos(process::testing::get_implementation_qos());
    t.expect(process::testing::join_all_async_procs(), "waits for a child");
  });
}

void elevation(trial& t) {
  HANDLE token = nullptr;
  ::OpenProcessToken(::GetCurrentProcess(), TOKEN_QUERY, &token);
  t.act([&] { t.see(std::to_string(windows::IsTokenElevated(token))); });
  t.act([&] { t.see(std::to_string(windows::IsUacEnabled())); });
  t.act([&] { static_cast<void>(windows::GetExplorerProcessId()); });
  t.act([&] { t.see(std::to_string(windows::CheckReplaceTokenPrivilege())); });
  t.act([&] { windows::EnablePrivilege("SeBackupPrivilege"); });
  t.act([&] { ::CloseHandle(windows::GetMediumIntegrityToken()); });
  ::CloseHandle(token);
}

void token_of_explorer(trial& t) {
  t.act([&] {
    const HANDLE token = windows::GetNonElevatedToken();
    if (token != nullptr) {
      ::CloseHandle(token);
    }
  });
}

}  // namespace

process::context small_context() {
  process::context how;
  how.environment() = {{"a variable", "with a value that does not fit into the string itself"}};
  return how;
}

std::vector<operation> process_operations() {
  // What is told of a call that has another name than the function, or none.
  constexpr const char* no_duplicate = "Failed to duplicate";
  constexpr const char* launch_refused = "bad conversion|Failed to duplicate";
  constexpr const char* without_a_name = R"(system_error>: (Not enough quota|Unknown error \(1816\)) \[system:1816\]$)";
  return {
      {"child: launch", launch_plain, launch_refused},
      {"child: launch with files", launch_with_files, "bad conversion|OpenFile|Failed to duplicate|SetEndOfFile"},
      {"child: launch with pipes", launch_with_pipes, launch_refused},
      {"child: launch without elevation", launch_without_elevation},
      {"child: launch elevated", launch_elevated, launch_refused},
      {"child: launch as a user", launch_as_user},
      {"child: launch, a real one", real_child, launch_refused},
      {"child: wait", wait_for_child},
      // Boost's futures wait by an event each, and end the process where they can make none.
      {"child: wait in the background", wait_in_background, "thread_resource_error|Failed to duplicate", false,
       "CreateEventA"},
      // A child of which the system says nothing counts as ended, with the refusal as its status.
      {"child: ask", ask_child, "^done ended;given up;$|Failed to duplicate"},
      {"child: move", move_child, no_duplicate},
      {"child: detach", detach_child, no_duplicate},
      {"child: release", release_child, no_duplicate},
      {"child: kill, terminate", end_child, "given up|process already exited"},
      {"child: its memory", child_memory, std::string("given up|process already exited|") + without_a_name},
      {"mock process", mock, "thread_resource_error"},
      {"this process", this_process, without_a_name},
      {"which", find_program, "^done none;none;$"},
      {"waits in the background", waits},
      {"elevation", elevation, "^done 1;(0;-1|-1;0);$|cannot confirm if process is elevated"},
      {"token of the explorer", token_of_explorer,
       "Cannot get non-elevated token: Failed to (open the explorer process|open the explorer's token|duplicate the "
       "token): "}};
}

}  // namespace faults

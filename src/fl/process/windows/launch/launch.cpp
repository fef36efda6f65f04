// Starting a child: the one place where all settings of a context meet.

#include <fl/process/errors.hpp>
#include <fl/process/launch_attributes.hpp>
#include <fl/process/which.hpp>
#include <fl/sysdep/windows/deelevate_utils.hpp>
#include <fl/sysdep/windows/process_impl.hpp>

#include "common/windows/handle_closer.hpp"
#include "common/windows/late_function.hpp"
#include "loggers.hpp"
#include "process/launch_text/argument_quoting.hpp"
#include "process/launch_text/batch_file.hpp"
#include "process/launch_text/without_nul.hpp"
#include "process/windows/last_error.hpp"
#include "process/windows/launch/child_ends_guard.hpp"
#include "process/windows/launch/child_setup.hpp"
#include "process/windows/native_text.hpp"
#include "process/windows/token/non_elevated_token.hpp"
#include "process/windows/token/profile_cleanup.hpp"
#include "version_record.hpp"

#include <boost/algorithm/string/predicate.hpp>
#include <boost/algorithm/string/replace.hpp>

#include <windows.h>
#include <shellapi.h>

#include <locale>
#include <memory>
#include <sstream>
#include <stdexcept>
#include <string>
#include <utility>
#include <vector>

namespace foundation::core::sysdep::windows {

using process::command;
using process::context;

DWORD process_impl::get_process_creation_flags(const context& ctx) {
  DWORD flags = EXTENDED_STARTUPINFO_PRESENT;
  if (ctx.user()) {
    flags |= NORMAL_PRIORITY_CLASS;
  }
  if (ctx.detached_process().value_or(false)) {
    flags |= DETACHED_PROCESS;
  }
  if (ctx.create_no_window().value_or(false)) {
    flags |= CREATE_NO_WINDOW;
  }
  loggers::process_impl.log(log::severity::note,
                            " static_cast<bool>(flags & 0x00000020)=", static_cast<bool>(flags & NORMAL_PRIORITY_CLASS),
                            " static_cast<bool>(flags & 0x00000008)=", static_cast<bool>(flags & DETACHED_PROCESS),
                            " static_cast<bool>(flags & 0x08000000)=", static_cast<bool>(flags & CREATE_NO_WINDOW));
  return flags;
}

namespace {

enum class launch_way { de_elevated, under_user, elevated, plain };

// A request for elevation gives way to a user; one against it gives way only where there is no elevation to remove.
launch_way choose_way(const context& ctx) {
  if (ctx.elevationLevel() == process::ElevationLevel::NonElevated && IsTokenElevated(nullptr) != 0) {
    return launch_way::de_elevated;
  }
  if (ctx.user()) {
    return launch_way::under_user;
  }
  if (ctx.elevationLevel() == process::ElevationLevel::Elevated) {
    return launch_way::elevated;
  }
  return launch_way::plain;
}

// A child outside of the job that it is meant for must never run.
void refuse_launch_attributes(const context& ctx) {
  if (!detail::launch_attributes(ctx).empty()) {
    throw std::invalid_argument("an elevated child cannot start inside a job, nor with other attributes of a launch");
  }
}

}  // namespace

void process_impl::launch_without_elevation(child_setup& setup, const command& cmd) {
  HANDLE token = token_without_elevation();
  const HandleCloser<HANDLE> closer(token);
  setup.create_process_as_user(token, cmd.name());
}

void process_impl::launch_under_user(child_setup& setup, const command& cmd, const context& ctx) {
  std::string user, domain;
  boost::tuples::tie(user, domain) = parse_user(ctx.user()->name);
  auto cleanup = std::make_unique<ProfileCleanup>(
      std::make_unique<UserLogon>(std::move(user), std::move(domain), ctx.user()->password));
  std::vector<char16_t> environment = cleanup->logon().environment_with(ctx.environment());
  setup.create_process_as_user(cleanup->logon().token(), cmd.name(), environment);
  ProfileCleanup::start(std::move(cleanup), setup.info().hProcess);
}

namespace {

// The shell brings the whole of the desktop along: most programs never need it.
constinit late_function<decltype(::ShellExecuteExA)> shell_execute_narrow
    [[gnu::section(".late")]]{"shell32.dll", "ShellExecuteExA"};
constinit late_function<decltype(::ShellExecuteExW)> shell_execute_wide
    [[gnu::section(".late")]]{"shell32.dll", "ShellExecuteExW"};

// The shell completes a name, looks for it along PATH, and follows links.
bool shell_may_find_batch_file(const std::string& name) {
  return boost::algorithm::iends_with(name, ".lnk", std::locale::classic()) || process::which(name + ".bat") ||
         process::which(name + ".cmd");
}

// Lets the system's shell start a file, elevated and without a window, and returns the process. `Request` is the narrow
// or the wide form of what the call wants; the texts are of that form. The text of a failure is the same for both.
template <class Request, class Text>
HANDLE run_elevated(late_function<BOOL WINAPI(Request*)>& execute, const Text& verb, const Text& file,
                    const Text& parameters, const Text& directory) {
  Request request = {};
  request.cbSize = sizeof request;
  request.fMask = SEE_MASK_NOCLOSEPROCESS;
  request.lpVerb = verb.c_str();
  request.lpFile = file.c_str();
  request.lpParameters = parameters.c_str();
  request.lpDirectory = directory.c_str();
  request.nShow = SW_HIDE;
  if (!execute(&request)) {
    throw_last_error(::GetLastError(), "::ShellExecuteExW");
  }
  // As when a running program opens the file.
  if (!request.hProcess) {
    throw std::runtime_error("the system's shell started no process of its own, so there is nothing to follow");
  }
  return request.hProcess;
}

}  // namespace

void process_impl::launch_elevated_helper(const command& cmd, const char* const& directory,
                                          PROCESS_INFORMATION& proc_info) {
  const std::string& file = process::without_nul(cmd.name(), "program name");
  const std::string parameters = process::join_arguments(cmd.args(), &process_impl::escape_copy);
  process::without_nul(parameters, "command line");
  if (shell_may_find_batch_file(cmd.name())) {
    process::refuse_what_is_unsafe_in_a_batch_file(cmd);
  }
  const std::string verb = "runas";
  proc_info.hProcess = fits_narrow_calls({file, parameters, directory})
                           ? run_elevated(shell_execute_narrow, verb, file, parameters, std::string(directory))
                           : run_elevated(shell_execute_wide, to_native(verb), to_native(file), to_native(parameters),
                                          to_native(directory));
}

boost::shared_ptr<process_impl> process_impl::launch_untranslated(const command& cmd, const context& ctx) {
  child_setup setup(cmd, ctx);
  process::refuse_unsafe_batch_file(cmd);
  switch (choose_way(ctx)) {
    case launch_way::de_elevated:
      launch_without_elevation(setup, cmd);
      break;
    case launch_way::under_user:
      launch_under_user(setup, cmd, ctx);
      break;
    case launch_way::elevated:
      refuse_launch_attributes(ctx);
      launch_elevated_helper(cmd, setup.directory(), setup.info());
      break;
    case launch_way::plain:
      setup.create_process(cmd.name());
      break;
  }
  // The child runs. Its handles are closed whatever fails from here on.
  HandleCloser<HANDLE> process_closer(setup.info().hProcess);
  HandleCloser<HANDLE> thread_closer(setup.info().hThread);
  close_inherited_pipes(ctx.inherited_pipes());
  std::unique_ptr<process_impl> record(new process_impl(&setup.info()));
  process_closer.mode = thread_closer.mode = CloseOnDestruction::leave;
  return boost::shared_ptr<process_impl>(std::move(record));
}

namespace {

std::string failure_text(const command& cmd, const std::string& reason) {
  std::ostringstream text;
  text << " While attempting to execute \"" << cmd << "\": " << reason << "\n";
  // The text of an exception ends at its first NUL, in front of the reason.
  return boost::algorithm::replace_all_copy(text.str(), std::string(1, '\0'), "\\0");
}

}  // namespace

boost::shared_ptr<process_impl> process_impl::launch(const command& cmd, const context& ctx) {
  detail::record_version();
  try {
    const child_ends_guard ends(ctx);
    const log::scope_trace trace(loggers::process_impl, __PRETTY_FUNCTION__);
    return launch_untranslated(cmd, ctx);
  } catch (const process::process_bad_user& e) {
    throw process::process_bad_user(failure_text(cmd, e.what()));
  } catch (const std::exception& e) {
    throw process::process_init_error(failure_text(cmd, e.what()));
  }
}

}  // namespace foundation::core::sysdep::windows

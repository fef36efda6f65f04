#include "process/windows/launch/child_setup.hpp"

#include "loggers.hpp"
#include "process/launch_text/argument_quoting.hpp"
#include "process/launch_text/environment_block.hpp"
#include "process/launch_text/without_nul.hpp"
#include "process/windows/last_error.hpp"
#include "process/windows/launch/attribute_list.hpp"
#include "process/windows/native_text.hpp"

#include <utility>

namespace foundation::core::sysdep::windows {

using process::command;
using process::context;

namespace {

const char* directory_of(const context& ctx) {
  return ctx.directory() ? process::without_nul(*ctx.directory(), "directory").c_str() : ".";
}

// In bytes, with the zeros at its end. The system refuses a longer one, which it would have to turn into its own form;
// what is in that form already may have any length.
constexpr std::size_t longest_narrow_block = 32767;

// A NUL in an entry would make the rest of it an entry of its own.
const process::environment_map& checked(const process::environment_map& environment) {
  for (const auto& [name, value] : environment) {
    process::without_nul(name, "name of an environment variable");
    process::without_nul(value, "value of an environment variable");
  }
  return environment;
}

}  // namespace

STARTUPINFOEXW process_impl::child_setup::make_startup_info(const context& ctx) {
  STARTUPINFOEXW startup = {};
  startup.StartupInfo.cb = sizeof startup;
  startup.StartupInfo.dwFlags = STARTF_USESTDHANDLES;
  if (ctx.hide_windows().value_or(false)) {
    loggers::process_impl.log(log::severity::note,
                              "ctx.hide_windows() is set to true. Setting STARTF_USESHOWWINDOW and SW_HIDE.");
    startup.StartupInfo.dwFlags |= STARTF_USESHOWWINDOW;
    startup.StartupInfo.wShowWindow = SW_HIDE;
  }
  return startup;
}

process_impl::child_setup::environment_block process_impl::child_setup::make_environment_block(
    const process::environment_map& environment) {
  if (fits_narrow_calls(checked(environment))) {
    std::vector<char> narrow = process::narrow_environment_block(environment, &process_impl::append_env_var);
    if (narrow.size() <= longest_narrow_block) {
      return {std::move(narrow), {}};
    }
  }
  return {{}, process::wide_environment_block(environment, &to_upper, &to_utf16)};
}

process_impl::child_setup::standard_streams::standard_streams(STARTUPINFOW& startup, const context& ctx)
    : in(&startup, STD_INPUT_HANDLE, ctx.std_in()),
      out(&startup, STD_OUTPUT_HANDLE, ctx.std_out()),
      err(&startup, STD_ERROR_HANDLE, ctx.std_err()) {}

bool process_impl::child_setup::standard_streams::change_handles() const {
  return in.changes_handle() || out.changes_handle() || err.changes_handle();
}

// The system accepts a list of handles only together with the inheritance.
process_impl::child_setup::inheritance::inheritance(STARTUPINFOEXW& startup, const context& ctx,
                                                    const standard_streams& streams)
    : list_closer(startup.lpAttributeList, &delete_attribute_list) {
  allow_pipes_to_be_inherited(ctx.inherited_pipes());
  explicitly_inherit_handles(ctx, startup, handles);
  owners = pass_launch_attributes(ctx, startup);
  any_inherited = !handles.empty() || streams.change_handles() || !ctx.inherited_handles().empty() ||
                  !ctx.inherited_pipes().empty();
}

DWORD process_impl::child_setup::make_creation_flags(const context& ctx, const inheritance& inherited) {
  DWORD flags = get_process_creation_flags(ctx);
  if (inherited.has_list()) {
    flags |= EXTENDED_STARTUPINFO_PRESENT;
  }
  loggers::process_impl.log(log::severity::note, " inherit_handles=", static_cast<int>(inherited.any_inherited),
                            " handles.size()=", inherited.handles.size(), " process_creation_flags=", flags);
  return flags;
}

process_impl::child_setup::child_setup(const command& cmd, const context& ctx)
    : startup_info_(make_startup_info(ctx)),
      command_line_(process::join_command_line(cmd, &process_impl::escape_copy)),
      directory_(directory_of(ctx)),
      streams_(startup_info_.StartupInfo, ctx),
      environment_(make_environment_block(ctx.environment())),
      inheritance_(startup_info_, ctx, streams_),
      creation_flags_(make_creation_flags(ctx, inheritance_)),
      proc_info_() {}

process_impl::child_setup::wide_texts process_impl::child_setup::texts_for(const std::string& name) const {
  return {utf8_to_native(directory_), utf8_to_native(process::without_nul(command_line_, "command line")),
          utf8_to_native(process::without_nul(name, "program name"))};
}

void process_impl::child_setup::create_process(const std::string& name) {
  wide_texts texts = texts_for(name);
  if (!::CreateProcessW(texts.program.c_str(), texts.command_line.data(), nullptr, nullptr, inheritance_.any_inherited,
                        creation_flags_ | environment_.creation_flag(), environment_.data(), texts.directory.c_str(),
                        &startup_info_.StartupInfo, &proc_info_)) {
    throw_last_error(::GetLastError(), "CreateProcessW");
  }
}

void process_impl::child_setup::create_process_as_user(HANDLE token, const std::string& name) {
  create_as_user(token, name, creation_flags_ | environment_.creation_flag(), environment_.data());
}

void process_impl::child_setup::create_process_as_user(HANDLE token, const std::string& name,
                                                       std::vector<char16_t>& environment) {
  create_as_user(token, name, creation_flags_ | CREATE_UNICODE_ENVIRONMENT, environment.data());
}

void process_impl::child_setup::create_as_user(HANDLE token, const std::string& name, DWORD creation_flags,
                                               void* environment) {
  wide_texts texts = texts_for(name);
  if (!::CreateProcessAsUserW(token, texts.program.c_str(), texts.command_line.data(), nullptr, nullptr,
                              inheritance_.any_inherited, creation_flags, environment, texts.directory.c_str(),
                              &startup_info_.StartupInfo, &proc_info_)) {
    throw_last_error(::GetLastError(), "CreateProcessAsUserW");
  }
}

}  // namespace foundation::core::sysdep::windows

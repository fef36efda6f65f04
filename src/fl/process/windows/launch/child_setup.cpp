#include "loggers.hpp"
#include "process/launch_text/argument_quoting.hpp"
#include "process/launch_text/environment_block.hpp"
#include "process/launch_text/without_nul.hpp"
#include "process/windows/last_error.hpp"
#include "process/windows/launch/child_setup.hpp"
#include "process/windows/native_text.hpp"

namespace foundation::core::sysdep::windows {

using process::command;
using process::context;

namespace {

const char* directory_of(const context& ctx) {
  return ctx.directory() ? process::without_nul(*ctx.directory(), "directory").c_str() : ".";
}

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
  if (!fits_narrow_calls(checked(environment))) {
    return {{}, process::wide_environment_block(environment, &to_upper, &to_utf16)};
  }
  return {process::narrow_environment_block(environment, &process_impl::append_env_var), {}};
}

process_impl::child_setup::child_setup(const command& cmd, const context& ctx)
    : ctx_(ctx),
      startup_info_(make_startup_info(ctx)),
      command_line_(process::join_command_line(cmd, &process_impl::escape_copy)),
      directory_(directory_of(ctx)),
      std_in_(&startup_info_.StartupInfo, STD_INPUT_HANDLE, ctx.std_in()),
      std_out_(&startup_info_.StartupInfo, STD_OUTPUT_HANDLE, ctx.std_out()),
      std_err_(&startup_info_.StartupInfo, STD_ERROR_HANDLE, ctx.std_err()),
      env_block_(make_environment_block(ctx.environment())),
      inherit_handles_(!ctx.inherited_handles().empty() || !ctx.inherited_pipes().empty() || std_in_.changes_handle() ||
                       std_out_.changes_handle() || std_err_.changes_handle()) {
  allow_pipes_to_be_inherited(ctx.inherited_pipes());
  explicitly_inherit_handles(ctx, startup_info_, handles_);
  // The system takes a list of handles only together with the inheritance.
  inherit_handles_ = inherit_handles_ || startup_info_.lpAttributeList;
  creation_flags_ = get_process_creation_flags(ctx);
  if (startup_info_.lpAttributeList) {
    creation_flags_ |= EXTENDED_STARTUPINFO_PRESENT;
  }
  loggers::process_impl.log(log::severity::note, " inherit_handles=", static_cast<int>(inherit_handles_),
                            " handles.size()=", handles_.size(), " process_creation_flags=", creation_flags_);
}

process_impl::child_setup::wide_texts process_impl::child_setup::texts_for(const std::string& name) const {
  return {utf8_to_native(directory_), utf8_to_native(process::without_nul(command_line_, "command line")),
          utf8_to_native(process::without_nul(name, "program name"))};
}

void process_impl::child_setup::create_process(const std::string& name) {
  wide_texts texts = texts_for(name);
  if (!::CreateProcessW(texts.program.c_str(), texts.command_line.data(), nullptr, nullptr, inherit_handles_,
                        creation_flags_ | env_block_.creation_flag(), env_block_.data(), texts.directory.c_str(),
                        &startup_info_.StartupInfo, &proc_info_)) {
    throw_last_error(::GetLastError(), "CreateProcessW");
  }
}

void process_impl::child_setup::create_process_as_user(HANDLE token, const std::string& name) {
  create_as_user(token, name, creation_flags_ | env_block_.creation_flag(), env_block_.data());
}

void process_impl::child_setup::create_process_as_user(HANDLE token, const std::string& name,
                                                       std::vector<char16_t>& environment) {
  create_as_user(token, name, creation_flags_ | CREATE_UNICODE_ENVIRONMENT, environment.data());
}

void process_impl::child_setup::create_as_user(HANDLE token, const std::string& name, DWORD creation_flags,
                                               void* environment) {
  wide_texts texts = texts_for(name);
  if (!::CreateProcessAsUserW(token, texts.program.c_str(), texts.command_line.data(), nullptr, nullptr,
                              inherit_handles_, creation_flags, environment, texts.directory.c_str(),
                              &startup_info_.StartupInfo, &proc_info_)) {
    throw_last_error(::GetLastError(), "CreateProcessAsUserW");
  }
}

process_impl::child_setup::attribute_list_guard::~attribute_list_guard() {
  if (!startup_.lpAttributeList) {
    return;
  }
  ::DeleteProcThreadAttributeList(startup_.lpAttributeList);
  ::HeapFree(::GetProcessHeap(), 0, startup_.lpAttributeList);
  startup_.lpAttributeList = nullptr;
}

}  // namespace foundation::core::sysdep::windows

// What a child inherits beside its standard handles, and the explicit list that keeps everything else from it. Other
// attributes share the startup data's list with that one.

#include <fl/process/launch_attributes.hpp>
#include <fl/process/open_mode.hpp>
#include <fl/sysdep/windows/process_impl.hpp>

#include "common/windows/handle_closer.hpp"
#include "process/windows/last_error.hpp"
#include "process/windows/launch/attribute_list.hpp"
#include "process/windows/launch/mark_inheritable.hpp"

#include <windows.h>

#include <algorithm>
#include <memory>
#include <stdexcept>
#include <utility>

namespace foundation::core::sysdep::windows {

using process::context;
using process::iopipe_device;
namespace open_mode = process::open_mode;

void process_impl::allow_pipe_to_be_inherited(const std::pair<iopipe_device, int>& pipe) {
  if (pipe.second & open_mode::read) {
    mark_read_end_inheritable(pipe.first);
  }
  if (pipe.second & open_mode::write) {
    mark_write_end_inheritable(pipe.first);
  }
}

void process_impl::allow_pipes_to_be_inherited(const std::map<iopipe_device, int>& pipes) {
  for (const auto& pipe : pipes) {
    allow_pipe_to_be_inherited(pipe);
  }
}

void process_impl::close_inherited_pipe(const std::pair<iopipe_device, int>& pipe) {
  if (pipe.second & open_mode::read) {
    close_for_read(pipe.first);
  }
  if (pipe.second & open_mode::write) {
    close_for_write(pipe.first);
  }
}

void process_impl::close_inherited_pipes(const std::map<iopipe_device, int>& pipes) {
  for (const auto& pipe : pipes) {
    close_inherited_pipe(pipe);
  }
}

namespace {

// The parent's own input is passed on as it is, and may be a number that stands for nothing: a process that was started
// without inheriting anything has such a one.
bool is_dead_input(void* handle) {
  DWORD flags = 0;
  return handle == ::GetStdHandle(STD_INPUT_HANDLE) &&
         (handle == INVALID_HANDLE_VALUE || !::GetHandleInformation(handle, &flags));
}

// Those that the child can have.
std::vector<void*> standard_handles(const STARTUPINFOW& startup) {
  std::vector<void*> handles = {startup.hStdInput, startup.hStdOutput, startup.hStdError};
  handles.erase(
      std::remove_if(handles.begin(), handles.end(), [](void* handle) { return !handle || is_dead_input(handle); }),
      handles.end());
  return handles;
}

// Everything the child is to have, once each: the system refuses a list that names a handle twice.
void collect(const context& ctx, const std::vector<void*>& standard, std::vector<void*>& handles) {
  handles.assign(ctx.inherited_handles().begin(), ctx.inherited_handles().end());
  for (const auto& [device, mode] : ctx.inherited_pipes()) {
    if (mode & open_mode::read) {
      handles.push_back(device.handles().read_handle());
    }
    if (mode & open_mode::write) {
      handles.push_back(device.handles().write_handle());
    }
  }
  handles.insert(handles.end(), standard.begin(), standard.end());
  std::sort(handles.begin(), handles.end());
  handles.erase(std::unique(handles.begin(), handles.end()), handles.end());
}

// The system refuses a list that names a handle which is not inheritable. The ends of pipes have been made so before,
// and so has what was opened or duplicated for the child; what comes from elsewhere may not be.
void mark_what_comes_from_elsewhere(const context& ctx, const std::vector<void*>& standard) {
  std::for_each(ctx.inherited_handles().begin(), ctx.inherited_handles().end(), &mark_inheritable);
  const HANDLE own_input = ::GetStdHandle(STD_INPUT_HANDLE);
  if (std::find(standard.begin(), standard.end(), own_input) != standard.end()) {
    mark_inheritable(own_input);
  }
}

}  // namespace

void process_impl::explicitly_inherit_handles(const context& ctx, STARTUPINFOEXW& startup,
                                              std::vector<void*>& handles) {
  if (!ctx.explicitlyInheritHandles().value_or(false)) {
    return;
  }
  const std::vector<void*> standard = standard_handles(startup.StartupInfo);
  const std::size_t count = standard.size() + ctx.inherited_pipes().size() + ctx.inherited_handles().size();
  if (count == 0) {
    return;
  }
  handles.reserve(count);
  collect(ctx, standard, handles);
  mark_what_comes_from_elsewhere(ctx, standard);
  LPPROC_THREAD_ATTRIBUTE_LIST list = make_attribute_list(1 + detail::launch_attributes(ctx).size());
  HandleCloser<LPPROC_THREAD_ATTRIBUTE_LIST> closer(list, &delete_attribute_list);
  if (!::UpdateProcThreadAttribute(list, 0, PROC_THREAD_ATTRIBUTE_HANDLE_LIST, handles.data(),
                                   handles.size() * sizeof(void*), nullptr, nullptr)) {
    throw std::logic_error("UpdateProcThreadAttribute failed");
  }
  startup.lpAttributeList = list;
  closer.mode = CloseOnDestruction::leave;
}

// The list may exist already, with room for these.
std::vector<std::shared_ptr<const void>> process_impl::pass_launch_attributes(const context& ctx,
                                                                              STARTUPINFOEXW& startup) {
  const auto& attributes = detail::launch_attributes(ctx);
  std::vector<std::shared_ptr<const void>> owners;
  owners.reserve(attributes.size());
  if (!attributes.empty() && !startup.lpAttributeList) {
    startup.lpAttributeList = make_attribute_list(attributes.size());
  }
  // After a failure it goes before the owners do: the list must not outlive what it refers to.
  HandleCloser<LPPROC_THREAD_ATTRIBUTE_LIST> closer(startup.lpAttributeList, &delete_attribute_list);
  for (const auto& [number, source] : attributes) {
    detail::launch_attribute value = source();
    owners.push_back(std::move(value.owner));
    if (!::UpdateProcThreadAttribute(startup.lpAttributeList, 0, number, const_cast<void*>(value.address), value.size,
                                     nullptr, nullptr)) {
      throw_last_error(::GetLastError(), "UpdateProcThreadAttribute");
    }
  }
  closer.mode = CloseOnDestruction::leave;
  return owners;
}

}  // namespace foundation::core::sysdep::windows

#include "process/child/launched_child.hpp"

#include <fl/sysdep/windows/process_impl.hpp>

namespace foundation::core::sysdep::windows {

boost::shared_ptr<process_impl> launch_child(const process::command& cmd, const process::context& ctx) {
  return process_impl::launch(cmd, ctx);
}

process::exit_status_variant poll_child(process_impl& child) {
  return child.wait(false);
}

process::exit_status_variant wait_for_child(process_impl& child) {
  return child.wait(true);
}

bool child_has_ended(const process_impl& child) noexcept {
  return child.has_ended();
}

long long child_id(const process_impl& child) {
  return child.get_pid();
}

void* duplicate_child_handle(const process_impl& child) {
  return child.get_native_handle();
}

void kill_child(const process_impl& child) {
  child.kill();
}

unsigned long long child_working_set_size(process_impl& child) {
  return child.working_set_size();
}

}  // namespace foundation::core::sysdep::windows

#include "watchdog.hpp"

#include <cstdlib>

#include "stack_dump.hpp"

namespace test_support {

watchdog& watchdog::start(unsigned limit_s) {
  auto* const started = new watchdog(limit_s);
  std::thread([started] { started->run(); }).detach();
  return *started;
}

watchdog::watchdog(unsigned limit_s)
    : limit_s_(limit_s), progress_(::CreateEventW(nullptr, FALSE, FALSE, nullptr)), activity_("(start)") {}

void watchdog::watch(const std::string& activity) {
  {
    const std::lock_guard lock(mutex_);
    activity_ = activity;
  }
  ::SetEvent(progress_);
}

void watchdog::run() {
  while (::WaitForSingleObject(progress_, limit_s_ * 1000) == WAIT_OBJECT_0) {
  }
  end_process();
}

void watchdog::end_process() {
  begin_report(hang_exit_code);
  {
    const std::lock_guard lock(mutex_);
    report("\nhang: %s ran longer than %u s\n", activity_.c_str(), limit_s_);
  }
  dump_other_threads();
  ::TerminateProcess(::GetCurrentProcess(), hang_exit_code);
  std::_Exit(hang_exit_code);
}

}  // namespace test_support

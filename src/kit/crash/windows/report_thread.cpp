#include "crash/windows/report_thread.hpp"

namespace foundation::kit {

namespace {

/// Bytes, all of them committed when the thread is made: a report, the system's symbol service and a callback.
constexpr SIZE_T stack_size = 512 * 1024;

}  // namespace

report_thread::report_thread(void (*work)())
    : work_(work),
      work_wanted_(made_by("CreateEventW", CreateEventW(nullptr, FALSE, FALSE, nullptr))),
      leave_(made_by("CreateEventW", CreateEventW(nullptr, TRUE, FALSE, nullptr))),
      thread_(made_by("CreateThread", CreateThread(nullptr, stack_size, run, this, 0, &id_))) {}

report_thread::~report_thread() {
  SetEvent(leave_.get());
  WaitForSingleObject(thread_.get(), INFINITE);
}

DWORD report_thread::run(void* self) {
  const auto& thread = *static_cast<report_thread*>(self);
  const HANDLE waited_for[] = {thread.work_wanted_.get(), thread.leave_.get()};
  if (WaitForMultipleObjects(2, waited_for, FALSE, INFINITE) == WAIT_OBJECT_0) {
    thread.work_();
  }
  return 0;
}

}  // namespace foundation::kit

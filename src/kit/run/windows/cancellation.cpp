// The request is an event that nobody resets.
#include "common/windows/system_error.hpp"

#include <kit/cancellation.hpp>

#include <windows.h>

namespace foundation::kit {
namespace {

HANDLE create_event() {
  const HANDLE event = ::CreateEventW(nullptr, TRUE, FALSE, nullptr);
  if (event == nullptr) {
    core::sysdep::windows::throw_system_error(::GetLastError(), "CreateEventW");
  }
  return event;
}

}  // namespace

cancellation::cancellation() : event_(create_event(), [](HANDLE event) { ::CloseHandle(event); }) {}

cancellation::cancellation(const cancellation&) noexcept = default;
cancellation& cancellation::operator=(const cancellation&) noexcept = default;
cancellation::~cancellation() = default;

void cancellation::request() const noexcept {
  ::SetEvent(event_.get());
}

bool cancellation::requested() const noexcept {
  return ::WaitForSingleObject(event_.get(), 0) == WAIT_OBJECT_0;
}

void* cancellation::native_handle() const noexcept {
  return event_.get();
}

}  // namespace foundation::kit

// The request is an event that nobody resets.
#include "windows/owned_handle.hpp"

#include <kit/cancellation.hpp>

#include <windows.h>

namespace foundation::kit {

cancellation::cancellation()
    : event_(made_by("CreateEventW", ::CreateEventW(nullptr, TRUE, FALSE, nullptr)).release(),
             [](HANDLE event) { ::CloseHandle(event); }) {}

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

// Names of threads. Each thread's copy lies in fiber-local storage, which the system finds without a lock and without
// memory. A `thread_local` would not do: with this compiler a thread's first access to one allocates, and ends the
// process if there is no memory left.
#include <conc_common/thread_name.hpp>
#include <i18n/convert.hpp>

#include "common/windows/procedure.hpp"

#include <windows.h>

#include <atomic>
#include <cstring>
#include <memory>
#include <new>
#include <string_view>

namespace foundation::concurrent::common {
namespace {

/// The place of the copies: zero-terminated, well-formed UTF-8, from `new[]`, or null for a thread without a name.
/// `FLS_OUT_OF_INDEXES` until the first thread is named.
constinit std::atomic<DWORD> copies{FLS_OUT_OF_INDEXES};

/// The system calls this when a thread ends.
void WINAPI release(void* copy) {
  delete[] static_cast<char*>(copy);
}

DWORD require_place() {
  DWORD place = copies;
  if (place != FLS_OUT_OF_INDEXES) {
    return place;
  }
  const DWORD made = FlsAlloc(&release);
  if (made == FLS_OUT_OF_INDEXES) {
    throw std::bad_alloc();
  }
  if (copies.compare_exchange_strong(place, made)) {
    return made;
  }
  FlsFree(made);  // Another thread was faster.
  return place;
}

void keep_copy(std::string_view name) {
  auto copy = std::make_unique<char[]>(name.size() + 1);
  name.copy(copy.get(), name.size());
  const DWORD place = require_place();
  void* const former = FlsGetValue(place);
  if (FlsSetValue(place, copy.get()) == FALSE) {
    throw std::bad_alloc();
  }
  copy.release();
  release(former);
}

using describe_thread = HRESULT(WINAPI*)(HANDLE, PCWSTR);

/// The system's function, or null: older systems have none. The first ones with it export it from this DLL only.
describe_thread find_describe_thread() {
  using core::sysdep::windows::find_procedure;
  return find_procedure<describe_thread>(GetModuleHandleW(L"kernelbase.dll"), "SetThreadDescription");
}

bool is_trailing_byte(char byte) {
  return (static_cast<unsigned char>(byte) & 0xC0U) == 0x80U;
}

/// Length in bytes of the longest beginning of `text` with whole characters that fits into `space`.
std::size_t fitting_length(std::string_view text, std::size_t space) {
  if (text.size() <= space) {
    return text.size();
  }
  while (space != 0 && is_trailing_byte(text[space])) {
    --space;
  }
  return space;
}

}  // namespace

void setCurrentThreadName(const std::string& name) {
  static const describe_thread describe = find_describe_thread();
  const fl::ustring units = fl::i18n::utf8_to_ustring(name.c_str());
  const std::wstring description(units.begin(), units.end());
  keep_copy(fl::i18n::ustring_to_utf8(units));
  // Nothing beyond this line may throw: the copy has changed.
  if (describe != nullptr) {
    describe(GetCurrentThread(), description.c_str());
  }
}

bool getCurrentThreadName(char* buffer, std::size_t size) noexcept {
  const DWORD place = copies;
  if (buffer == nullptr || size == 0 || place == FLS_OUT_OF_INDEXES) {
    return false;
  }
  const DWORD error = GetLastError();
  const auto* const copy = static_cast<const char*>(FlsGetValue(place));
  SetLastError(error);  // The system has set it, even if all went well.
  if (copy == nullptr) {
    return false;
  }
  const std::size_t length = fitting_length(copy, size - 1);
  std::memcpy(buffer, copy, length);
  buffer[length] = '\0';
  return true;
}

}  // namespace foundation::concurrent::common

/// When the DLL is unloaded, the place goes with all copies: the system must not call back into code that is no longer
/// there. At the end of the process the code stays, and reports may still ask for the name.
extern "C" BOOL WINAPI DllMain(HINSTANCE, DWORD reason, LPVOID process_ends) {
  using foundation::concurrent::common::copies;
  if (reason == DLL_PROCESS_DETACH && process_ends == nullptr && copies != FLS_OUT_OF_INDEXES) {
    FlsFree(copies);
  }
  return TRUE;
}

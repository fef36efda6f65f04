// The three standard handles of a child: where each setting gets its handle from.

#include <fl/sysdep/windows/process_impl.hpp>

#include "common/windows/handle_closer.hpp"
#include "common/windows/system_error.hpp"
#include "loggers.hpp"
#include "process/launch_text/without_nul.hpp"
#include "process/windows/last_error.hpp"
#include "process/windows/launch/mark_inheritable.hpp"
#include "process/windows/native_text.hpp"

#include <windows.h>
#include <io.h>

#include <cstdio>
#include <stdexcept>

namespace foundation::core::sysdep::windows {

using process::iopipe_device;

namespace {

HANDLE duplicate_inheritable(HANDLE source, const char* failure) {
  HANDLE duplicate = nullptr;
  if (!::DuplicateHandle(::GetCurrentProcess(), source, ::GetCurrentProcess(), &duplicate, 0, TRUE,
                         DUPLICATE_SAME_ACCESS)) {
    throw_last_error(::GetLastError(), failure);
  }
  return duplicate;
}

// The handle under a stream of the C run-time, or null if it has none. A program without a console has no standard
// streams; what the run-time then answers is -1 or -2, and as handles these numbers would stand for this very process
// or thread, which no child must get.
HANDLE handle_of_stream(std::FILE* stream) {
  const int descriptor = ::_fileno(stream);
  const std::intptr_t handle = descriptor < 0 ? -1 : ::_get_osfhandle(descriptor);
  return handle == -1 || handle == -2 ? nullptr : reinterpret_cast<HANDLE>(handle);
}

// A second handle for the same object, as inheritable as the first. Null stays null.
HANDLE duplicate_alike(HANDLE source) {
  if (!source) {
    return nullptr;
  }
  DWORD flags = 0;
  if (!::GetHandleInformation(source, &flags)) {
    throw_system_error(::GetLastError(), "GetHandleInformation");
  }
  HANDLE duplicate = nullptr;
  if (!::DuplicateHandle(::GetCurrentProcess(), source, ::GetCurrentProcess(), &duplicate, 0,
                         (flags & HANDLE_FLAG_INHERIT) != 0, DUPLICATE_SAME_ACCESS)) {
    throw_system_error(::GetLastError(), "DuplicateHandle");
  }
  return duplicate;
}

}  // namespace

void*& process_impl::get_handle(STARTUPINFOW* startup, unsigned long key) {
  switch (key) {
    case STD_INPUT_HANDLE:
      return startup->hStdInput;
    case STD_OUTPUT_HANDLE:
      return startup->hStdOutput;
    case STD_ERROR_HANDLE:
      return startup->hStdError;
    default:
      throw std::invalid_argument(
          "get_handle key must be one of STD_INPUT_HANDLE, STD_OUTPUT_HANDLE, or STD_ERROR_HANDLE");
  }
}

void process_impl::set_handle(STARTUPINFOW* startup, unsigned long key, void* handle) {
  get_handle(startup, key) = handle;
}

void process_impl::set_handle_to_std(STARTUPINFOW* startup, unsigned long key) {
  void*& field = get_handle(startup, key);
  auto& logger = loggers::process_impl;
  if (key == STD_INPUT_HANDLE) {
    logger.log(log::severity::note, "For stdin call GetStdHandle(STD_INPUT_HANDLE).");
    field = ::GetStdHandle(STD_INPUT_HANDLE);
    return;
  }
  // Output goes where the C run-time writes, which a program may have pointed elsewhere than the system's handle.
  const bool is_output = key == STD_OUTPUT_HANDLE;
  logger.log(log::severity::note, is_output ? "For stdout duplicate _get_osfhandle(_fileno(stdout))."
                                            : "For stderr duplicate _get_osfhandle(_fileno(stderr)).");
  const HANDLE source = handle_of_stream(is_output ? stdout : stderr);
  field = source ? duplicate_inheritable(source, is_output ? "Failed to duplicate STD_OUTPUT_HANDLE."
                                                           : "Failed to duplicate STD_ERROR_HANDLE.")
                 : nullptr;
}

void process_impl::set_handle_to_sink(STARTUPINFOW* startup, unsigned long key, const iopipe_device& device) {
  set_handle(startup, key, device.handles().write_handle());
  mark_write_end_inheritable(device);
}

void process_impl::set_handle_to_source(STARTUPINFOW* startup, unsigned long key, const iopipe_device& device) {
  set_handle(startup, key, device.handles().read_handle());
  mark_read_end_inheritable(device);
}

namespace {

// Inheritable, and made if it is missing, for reading as well. INVALID_HANDLE_VALUE on failure.
HANDLE open_or_make(const std::string& file, DWORD access) {
  SECURITY_ATTRIBUTES attributes = {sizeof attributes, nullptr, TRUE};
  const auto open = [&](auto* create_file, const auto& name) {
    return create_file(name.c_str(), access, FILE_SHARE_READ | FILE_SHARE_WRITE, &attributes, OPEN_ALWAYS,
                       FILE_ATTRIBUTE_NORMAL, nullptr);
  };
  return fits_narrow_calls({file}) ? open(&::CreateFileA, file) : open(&::CreateFileW, to_native(file));
}

void cut_off(HANDLE file) {
  if (!::SetEndOfFile(file)) {
    throw_last_error(::GetLastError(), "SetEndOfFile (open_file_handle)");
  }
}

void go_to_end(HANDLE file) {
  LONG upper = 0;  // Of the position. The call fails where there is one and nobody asks for it: behind 4 GB.
  ::SetLastError(NO_ERROR);
  const DWORD lower = ::SetFilePointer(file, 0, &upper, FILE_END);
  const DWORD code = ::GetLastError();
  if (lower == INVALID_SET_FILE_POINTER && code != NO_ERROR) {
    throw_last_error(code, "SetFilePointer (open_file_handle)");
  }
}

}  // namespace

void process_impl::open_file_handle(STARTUPINFOW* startup, unsigned long key, const std::string& file,
                                    unsigned long access, open_action_type action) {
  HANDLE handle = open_or_make(process::without_nul(file, "file name"), access);
  if (handle == INVALID_HANDLE_VALUE) {
    throw_last_error(::GetLastError(), "OpenFile (open_file_handle)");
  }
  HandleCloser<HANDLE> closer(handle);
  switch (action) {
    case open_as_is:
      break;
    case truncate:
      cut_off(handle);
      break;
    case seek_to_end:
      go_to_end(handle);
      break;
    default:
      throw std::invalid_argument("bad open_action (open_file_handle)");
  }
  set_handle(startup, key, handle);
  closer.mode = CloseOnDestruction::leave;
}

void process_impl::share_std_handle(STARTUPINFOW* startup, unsigned long destination, unsigned long source) {
  HANDLE duplicate = duplicate_alike(get_handle(startup, source));
  HandleCloser<HANDLE> closer(duplicate);
  mark_inheritable(duplicate);
  set_handle(startup, destination, duplicate);
  closer.mode = CloseOnDestruction::leave;
}

void process_impl::close_handle(STARTUPINFOW* startup, unsigned long key) {
  if (!::CloseHandle(get_handle(startup, key))) {
    throw_last_error(::GetLastError(), "close_handle/CloseHandle");
  }
}

void process_impl::close_for_read(const iopipe_device& device) {
  device.close_for_read();
}

void process_impl::close_for_write(const iopipe_device& device) {
  device.close_for_write();
}

}  // namespace foundation::core::sysdep::windows

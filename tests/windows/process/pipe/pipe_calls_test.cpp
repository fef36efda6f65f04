// Pipes of the system, through the library's interface: overlapped reads, ownership of handles, and failures of the
// system calls. The rules of the translation are tested with scripted calls, transfers with children.
#include <fl/process/iopipe.hpp>

#include "handle_leak.hpp"
#include "import_patch.hpp"

#include <boost/system/error_code.hpp>
#include <boost/system/system_error.hpp>
#include <gtest/gtest.h>

#include <windows.h>

#include <optional>
#include <string>
#include <thread>

namespace {

namespace process = foundation::core::process;
using process::iopipe;
using process::iopipe_device;
using process::iopipe_handles;
using test_support::injected;
using test_support::loses_no_handle;

constexpr const char* library = "libqxfl.dll";
constexpr int text_mode = process::open_mode::read | process::open_mode::write;

std::string system_text(DWORD error, const char* call) {
  return boost::system::system_error(static_cast<int>(error), boost::system::system_category(), call).what();
}

template <class Error, class Action>
void expect_error(Action action, DWORD code, const char* call) {
  try {
    action();
    ADD_FAILURE() << call;
  } catch (const Error& error) {
    EXPECT_EQ(std::string(error.what()).find(system_text(code, call)), 0u) << error.what();
  }
}

// Reads until `length` characters are there: a system may tell a write of no bytes as a read of none.
std::string read_exactly(const iopipe_device& device, std::size_t length) {
  std::string all(length, '\0');
  for (std::size_t at = 0; at != length;) {
    at += static_cast<std::size_t>(device.read(all.data() + at, static_cast<std::streamsize>(length - at)));
  }
  return all;
}

// Both ends of a pipe, named for this process, whose read handle was opened for overlapped use.
iopipe_handles overlapped_handles() {
  const std::string name = "\\\\.\\pipe\\qxfl-pipe-test-" + std::to_string(::GetCurrentProcessId());
  void* const read = ::CreateNamedPipeA(name.c_str(), PIPE_ACCESS_INBOUND | FILE_FLAG_OVERLAPPED, PIPE_TYPE_BYTE, 1, 0,
                                        4096, 0, nullptr);
  void* const write = ::CreateFileA(name.c_str(), GENERIC_WRITE, 0, nullptr, OPEN_EXISTING, 0, nullptr);
  EXPECT_NE(read, INVALID_HANDLE_VALUE);
  EXPECT_NE(write, INVALID_HANDLE_VALUE);
  return {read, write};
}

TEST(PipeCalls, AnOverlappedReadWaitsForItsBytesAndMeetsTheEnd) {
  EXPECT_TRUE(loses_no_handle([] {
    const iopipe_device device(overlapped_handles(), true, text_mode);
    EXPECT_EQ(device.write("here already\n", 13), 13);
    EXPECT_EQ(read_exactly(device, 13), "here already\n");

    std::thread writer([&] {
      ::Sleep(20);  // so that the read usually has to wait
      device.write("later\nx", 7);
      device.close_for_write();
    });
    EXPECT_EQ(read_exactly(device, 7), "later\nx");
    writer.join();
    char unused[2];
    EXPECT_EQ(device.read(unused, 2), 0);
  }));
}

TEST(PipeCalls, AnOverlappedReadClosesItsEventAndTellsWhichCallFailed) {
  const iopipe_device device(overlapped_handles(), true, process::open_mode::binary);
  EXPECT_TRUE(loses_no_handle([&] {
    char unused[2];
    const auto read = [&] { device.read(unused, 2); };
    {
      injected<decltype(&::ReadFile)> fault(library, "ReadFile");
      fault.fail_always(FALSE, ERROR_ACCESS_DENIED);
      expect_error<process::iopipe_read_error>(read, ERROR_ACCESS_DENIED, "AsyncReadFile");
    }
    ASSERT_EQ(device.write("ab", 2), 2);
    injected<decltype(&::GetOverlappedResult)> fault(library, "GetOverlappedResult");
    fault.fail_always(FALSE, ERROR_NOT_ENOUGH_MEMORY);
    expect_error<process::iopipe_read_error>(read, ERROR_NOT_ENOUGH_MEMORY, "GetOverlappedResult");
    EXPECT_EQ(fault.calls(), 1u) << "waits also for a read that succeeded at once";
  }));
}

TEST(PipeCalls, OwnsItsUninheritableHandlesUntilTheyAreClosedOrReleased) {
  const auto flags = [](HANDLE of) {
    DWORD result;
    return ::GetHandleInformation(of, &result) ? static_cast<int>(result & HANDLE_FLAG_INHERIT) : -1;
  };
  std::optional<iopipe> pipe(std::in_place);
  std::optional<iopipe_device> device(pipe->device());
  const iopipe_handles handles = device->handles();
  pipe.reset();
  EXPECT_EQ(flags(handles.read_handle()), 0);
  device->close_for_read();
  EXPECT_EQ(flags(handles.read_handle()), -1);
  device->release_write_handle();
  device.reset();
  EXPECT_EQ(flags(handles.write_handle()), 0);

  device.emplace(iopipe_handles(nullptr, handles.write_handle()), false, 0);
  ::SetLastError(ERROR_ARENA_TRASHED);
  device.reset();
  EXPECT_EQ(::GetLastError(), DWORD{ERROR_ARENA_TRASHED}) << "destruction does not disturb the last error";
  EXPECT_EQ(flags(handles.write_handle()), -1);
}

TEST(PipeCalls, ARefusedCreationIsASystemErrorWithItsCode) {
  injected<decltype(&::CreatePipe)> fault(library, "CreatePipe");
  fault.fail_always(FALSE, ERROR_TOO_MANY_OPEN_FILES);
  try {
    const iopipe pipe;
    FAIL();
  } catch (const boost::system::system_error& error) {
    EXPECT_EQ(error.code(), boost::system::error_code(ERROR_TOO_MANY_OPEN_FILES, boost::system::system_category()));
    EXPECT_EQ(error.what(), system_text(ERROR_TOO_MANY_OPEN_FILES, "CreatePipe"));
  }
}

TEST(PipeCalls, RefusedTransfersAreTheirErrorsAndTheDeviceGoesOn) {
  const iopipe_device device;
  ASSERT_EQ(device.write("ab", 2), 2);
  EXPECT_EQ(read_exactly(device, 1), "a");  // and holds the b
  char unused;
  {
    injected<decltype(&::ReadFile)> read_fault(library, "ReadFile");
    read_fault.fail_at(1, FALSE, ERROR_ACCESS_DENIED);
    expect_error<process::iopipe_read_error>([&] { device.read(&unused, 1); }, ERROR_ACCESS_DENIED, "ReadFile");
    injected<decltype(&::WriteFile)> write_fault(library, "WriteFile");
    write_fault.fail_at(1, FALSE, ERROR_DISK_FULL);
    expect_error<process::iopipe_write_error>([&] { device.write("x", 1); }, ERROR_DISK_FULL, "WriteFile");
  }
  EXPECT_EQ(device.write("c", 1), 1);
  EXPECT_EQ(read_exactly(device, 2), "bc");
  device.close_for_read();
  EXPECT_THROW(device.write("x", 1), process::iopipe_write_error) << "nobody can read any more";
}

}  // namespace

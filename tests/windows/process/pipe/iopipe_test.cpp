// Pipes of the system, in this process and to a real child. The rules of the translation are tested with
// scripted calls.

#include <fl/sysdep/windows/iopipe_descriptor_impl.hpp>

#include "children.hpp"
#include "every_test.hpp"
#include "refusals.hpp"

#include <boost/smart_ptr/make_shared.hpp>

namespace process = foundation::core::process;
namespace open_mode = process::open_mode;
using children::read_all;
using process::iopipe;
using process::iopipe_device;
using process::iopipe_handles;
using test_support::loses_no_handle;

namespace {

// A device on a pipe, named for this process, whose read handle was opened for overlapped use.
iopipe_device overlapped_device(int mode) {
  const std::string name = "\\\\.\\pipe\\qxfl-pipe-test-" + std::to_string(GetCurrentProcessId());
  void* const read = CreateNamedPipeA(name.c_str(), PIPE_ACCESS_INBOUND | FILE_FLAG_OVERLAPPED, PIPE_TYPE_BYTE, 1, 0,
                                      4096, 0, nullptr);
  void* const write = CreateFileA(name.c_str(), GENERIC_WRITE, 0, nullptr, OPEN_EXISTING, 0, nullptr);
  EXPECT_TRUE(read != INVALID_HANDLE_VALUE && write != INVALID_HANDLE_VALUE);
  return iopipe_device(iopipe_handles(read, write), true, mode);
}

}  // namespace

TEST(Pipe, AnOverlappedReadWaitsForItsBytesAndMeetsTheEnd) {
  EXPECT_TRUE(loses_no_handle([] {
    const iopipe_device device = overlapped_device(open_mode::read | open_mode::write);
    device.write("here already\n", 13);
    const std::jthread writer([&] {
      Sleep(20);  // so that the read usually has to wait
      device.write("later\nx", 7);
      device.close_for_write();
    });
    EXPECT_EQ(read_all(device), "here already\nlater\nx");
  }));
}

TEST(Pipe, TellsWhichCallTheSystemRefused) {
  using outcomes = test_support::refusal_outcomes;
  const auto create = [] {
    return [] {
      const iopipe pipe;
      return "made";
    };
  };
  EXPECT_EQ(test_support::refuse_each_call(create),
            (outcomes{{"CreatePipe", "system_error: CreatePipe!"}, {"new", "bad_alloc: std::bad_alloc"}}));
  const auto transfer_by = [](bool overlapped) {
    return [overlapped] {
      return [device = overlapped ? overlapped_device(open_mode::binary) : iopipe_device()] {
        char got = 0;
        device.write("a", 1);
        device.read(&got, 1);
        return std::string(1, got);
      };
    };
  };
  EXPECT_EQ(test_support::refuse_each_call(transfer_by(false)),
            (outcomes{{"ReadFile", "iopipe_read_error: ReadFile!: iostream error"},
                      {"WriteFile", "iopipe_write_error: WriteFile!: iostream error"}}));
  // Without an event it waits for the pipe itself, also when the read succeeded at once.
  EXPECT_EQ(test_support::refuse_each_call(transfer_by(true)),
            (outcomes{{"GetOverlappedResult", "iopipe_read_error: GetOverlappedResult!: iostream error"},
                      {"ReadFile", "iopipe_read_error: AsyncReadFile!: iostream error"},
                      {"WriteFile", "iopipe_write_error: WriteFile!: iostream error"}}));
}

TEST(Pipe, OwnsItsUninheritableHandlesUntilTheyAreClosedOrReleased) {
  const auto flags = [](HANDLE of) {
    DWORD result;
    return GetHandleInformation(of, &result) ? static_cast<int>(result & HANDLE_FLAG_INHERIT) : -1;
  };
  std::optional<iopipe_device> device(iopipe().device());
  const iopipe_handles handles = device->handles();
  EXPECT_EQ(flags(handles.read_handle()), 0);
  device->close_for_read();
  EXPECT_EQ(flags(handles.read_handle()), -1);
  EXPECT_THROW(device->write("x", 1), process::iopipe_write_error) << "nobody can read any more";
  device->release_write_handle();
  device.reset();
  EXPECT_EQ(flags(handles.write_handle()), 0);

  device.emplace(iopipe_handles(nullptr, handles.write_handle()), false, 0);
  SetLastError(ERROR_ARENA_TRASHED);
  device.reset();
  EXPECT_EQ(GetLastError(), DWORD{ERROR_ARENA_TRASHED}) << "destruction does not disturb the last error";
  EXPECT_EQ(flags(handles.write_handle()), -1);
}

TEST(ChildPipes, CarryEachStreamAndTheParentKeepsItsOwnEndsAlone) {
  iopipe input, output, errors;
  process::context how = children::output_to(output);
  how.std_in(process::pipe_from(input)).std_err(process::pipe_to(errors));
  const process::process child(children::command("echo", {"aside"}), how);
  EXPECT_TRUE(input.is_open_for_write() && output.is_open_for_read() && errors.is_open_for_read());
  EXPECT_FALSE(input.is_open_for_read() || output.is_open_for_write() || errors.is_open_for_write());
  input.device().write("to and fro", 10);
  input.device().close_for_write();
  EXPECT_EQ(read_all(output.device()), "to and fro");
  EXPECT_EQ(read_all(errors.device()), "aside");
}

// Whoever gives the text chooses the handles, so a pipe made of it may be of anything that the process has open, or of
// nothing. What is not named is left alone.
TEST(Pipe, MadeOfATextRefusesTransferForWhateverIsNoPipeAndTakesNothingButWhatIsNamed) {
  const test_support::temp_dir folder;
  const test_support::injected<decltype(&CloseHandle)> closing("CloseHandle", [](auto close, HANDLE handle) {
    DWORD flags = 0;  // Closing what is not open is refused here, so that strict Windows does not find it a breach.
    const bool is_open = reinterpret_cast<std::intptr_t>(handle) > 0 && GetHandleInformation(handle, &flags);
    return is_open ? close(handle) : FALSE;
  });
  EXPECT_TRUE(loses_no_handle([&] {
    const HANDLE bystander = CreateEventW(nullptr, TRUE, FALSE, nullptr);
    const HANDLE directory = CreateFileW(test_support::widen(folder.path()).c_str(), GENERIC_READ, 7, nullptr,
                                         OPEN_EXISTING, FILE_FLAG_BACKUP_SEMANTICS, nullptr);
    const HANDLE named[] = {CreateEventW(nullptr, TRUE, TRUE, nullptr), directory,
                            OpenProcess(PROCESS_QUERY_LIMITED_INFORMATION, FALSE, GetCurrentProcessId()),
                            CreateThread(nullptr, 0, [](void*) -> DWORD { return 0; }, nullptr, 0, nullptr)};
    std::vector<std::string> numbers = {"3", "11259372", "4294967295", "18446744073709551614", "18446744073709551615"};
    for (const HANDLE each : named) {
      numbers.push_back(std::to_string(reinterpret_cast<std::uintptr_t>(each)));
    }
    for (const std::string& number : numbers) {
      for (const char* const flags : {" 1 0 0 0", " 0 0 0 1"}) {
        const iopipe_device device(process::iopipe_descriptor("0 " + number + flags));
        EXPECT_THROW(device.write("text", 4), process::iopipe_write_error) << number << flags;
        device.release_write_handle();
        const iopipe_device reading(process::iopipe_descriptor(number + " 0" + flags));
        char got[4];
        EXPECT_THROW(reading.read(got, 4), process::iopipe_read_error) << number << flags;
        reading.release_read_handle();
      }
      const iopipe_device owner(process::iopipe_descriptor(number + " 0 0 0 0 0"));
    }
    DWORD flags = 0;
    for (const HANDLE each : named) {
      EXPECT_FALSE(GetHandleInformation(each, &flags)) << "the pipe owned it";
    }
    EXPECT_TRUE(CloseHandle(bystander));
  }));
}

// A stream swallows std::bad_alloc: the text ended in the middle of a number, or a number was read as 0.
TEST(Descriptor, IsToldAndReadAsAWholeWhicheverAllocationFails) {
  using foundation::core::sysdep::windows::iopipe_descriptor_impl;
  const iopipe_handles handles(reinterpret_cast<void*>(0xFFFFFFF8), reinterpret_cast<void*>(0xFFFFFFF4));
  const process::iopipe_descriptor large(boost::make_shared<iopipe_descriptor_impl>(handles, true, true, 'x', true));
  const std::string whole = "4294967288 4294967284 1 1 120 1";
  test_support::watched_calls calls;
  calls.add_allocator("libstdc++-6.dll", true);
  int nth = 0;
  do {
    calls.begin({test_support::planned_fault::kind::allocation, "", ++nth});
    calls.resume();
    try {
      const std::string told = large;
      const process::iopipe_descriptor read(whole);
      calls.suspend();
      EXPECT_EQ(told, whole) << nth;
      EXPECT_EQ(std::string(read), whole) << nth;
    } catch (const std::bad_alloc&) {
      calls.suspend();
    }
  } while (calls.refused() != 0);
  EXPECT_GT(nth, 4);
}

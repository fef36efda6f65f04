// What a child inherits: with an explicit list exactly what its context names, whatever else this process has open.

#include <fl/process/launch_attributes.hpp>

#include "children.hpp"
#include "every_test.hpp"
#include "import_patch.hpp"
#include "launch_texts.hpp"

#include <windows.h>

namespace process = foundation::core::process;
using children::read_all;
using test_support::injected;
namespace open_mode = process::open_mode;

namespace {

// An event that every child inherits which is not kept from it. A child that has it can set it, which is seen here:
// proof against chance, since the number of a handle may stand for something else in a child.
struct inheritable_event {
  SECURITY_ATTRIBUTES inheritable = {sizeof inheritable, nullptr, TRUE};
  const HANDLE handle = CreateEventW(&inheritable, TRUE, FALSE, nullptr);

  ~inheritable_event() { CloseHandle(handle); }
  bool is_set() const { return WaitForSingleObject(handle, 0) == WAIT_OBJECT_0; }
  std::string number() const { return std::to_string(reinterpret_cast<std::uintptr_t>(handle)); }
};

}  // namespace

TEST(HandleInheritance, WithAListOnlyWhatIsListedIsUsableThoughManyThreadsLaunch) {
  const std::vector<inheritable_event> decoys(64);
  process::command setter = children::command("handles");
  for (const inheritable_event& each : decoys) {
    setter.args().push_back(each.number());
  }
  std::atomic<int> listed_set{0};
  const auto launch_some = [&] {
    for (int launch = 0; launch != 4; ++launch) {
      const inheritable_event listed;
      process::command what = setter;
      what.args().push_back(listed.number());
      process::context how;
      how.explicitlyInheritHandles(true);
      how.inherited_handles().insert(listed.handle);
      process::process child(what, how);
      listed_set += child.exit_status() == 0 && listed.is_set();
    }
  };
  {
    std::vector<std::jthread> launching;
    for (int thread = 0; thread != 8; ++thread) {
      launching.emplace_back(launch_some);
    }
  }
  EXPECT_TRUE(std::none_of(decoys.begin(), decoys.end(), [](const auto& each) { return each.is_set(); }));
  EXPECT_EQ(listed_set, 32);
}

// A one-byte read takes two bytes from the system and keeps the second. It must reach whoever reads on, here another
// process that knows the pipe only by its descriptor.
TEST(HandleInheritance, APipeReachesTheChildByItsDescriptorWithItsPendingCharacterAndEndsWithIt) {
  for (const bool explicitly : {false, true}) {
    process::iopipe data, output;
    const process::iopipe_device device = data.device();
    char first = 0;
    EXPECT_TRUE(device.write("abcdef", 6) == 6 && device.read(&first, 1) == 1 && first == 'a');
    process::context how = children::output_to(output);
    how.explicitlyInheritHandles(explicitly);
    const process::process child(children::command("pipe", {how.inherit_pipe(data, open_mode::read)}), how);
    EXPECT_FALSE(device.is_open_for_read()) << "the end belongs to the child now";
    device.write("gh", 2);
    device.close_for_write();
    EXPECT_EQ(read_all(output.device()), "bcdefgh");
  }
}

// The system gives the number of a closed end to what it opens next. Here it stays with the end, which nobody closes.
TEST(HandleInheritance, AClosedEndIsRefusedAndWhatHasItsNumberNowStaysOutOfChildren) {
  process::iopipe pipe;
  const process::iopipe_handles numbers = pipe.device().handles();
  process::context hows[4];
  hows[0].std_in(process::pipe_from(pipe));
  hows[1].std_out(process::pipe_to(pipe));
  hows[2].inherit_pipe(pipe, open_mode::read);
  hows[3].inherit_pipe(pipe, open_mode::write);
  {
    const injected<decltype(&CloseHandle)> closing("CloseHandle", [](auto...) { return TRUE; });
    pipe.close();
  }
  const process::command what = children::command("exit", {"0"});
  for (const process::context& how : hows) {
    EXPECT_EQ(launch_texts::text_of_launch<process::process_init_error>(what, how),
              launch_texts::init_error_text(what, launch_texts::told("SetHandleInformation", ERROR_INVALID_HANDLE)));
  }
  for (const HANDLE each : {numbers.read_handle(), numbers.write_handle()}) {
    DWORD flags = HANDLE_FLAG_INHERIT;
    EXPECT_TRUE(GetHandleInformation(each, &flags) && flags == 0 && CloseHandle(each));
  }
}

// The documentation asks for it as long as there is a list, whatever has failed.
TEST(HandleInheritance, WhatAnAttributeRefersToOutlivesTheList) {
  std::weak_ptr<int> value;
  process::context how;
  foundation::core::detail::set_launch_attribute(how, PROC_THREAD_ATTRIBUTE_JOB_LIST, [&] {
    const auto owner = std::make_shared<int>(0);
    value = owner;
    return foundation::core::detail::launch_attribute{owner.get(), sizeof *owner, owner};
  });
  injected<decltype(&UpdateProcThreadAttribute)> update("UpdateProcThreadAttribute");
  update.fail_always(FALSE, ERROR_BAD_LENGTH);
  const injected<decltype(&HeapFree)> ended("HeapFree", [&](auto free_block, auto... list) {
    EXPECT_FALSE(value.expired());
    return free_block(list...);
  });
  EXPECT_THROW(process::process(children::command("exit", {"0"}), how), process::process_init_error);
  EXPECT_EQ(ended.calls(), 1u);
  EXPECT_TRUE(value.expired());
}

TEST(HandleInheritance, TheListNamesEachHandleOnceInOrderAndTheyAreAllInheritable) {
  process::iopipe output, extra;
  const inheritable_event event;
  SetHandleInformation(event.handle, HANDLE_FLAG_INHERIT, 0);
  process::context how;
  how.explicitlyInheritHandles(true);
  how.std_in(process::read_from_file("NUL"));
  how.std_out(process::pipe_to(output));
  how.std_err(process::discard());
  const HANDLE standard = output.device().handles().write_handle();
  const process::iopipe_handles ends = extra.device().handles();
  how.inherited_handles() = {event.handle, standard};
  how.inherit_pipe(output, open_mode::write);
  how.inherit_pipe(extra, open_mode::read | open_mode::write);
  std::vector<HANDLE> list;
  const injected<decltype(&UpdateProcThreadAttribute)> update(
      "UpdateProcThreadAttribute",
      [&](auto original, auto target, auto flags, DWORD_PTR attribute, PVOID value, SIZE_T size, auto... rest) {
        EXPECT_EQ(attribute, DWORD_PTR{0x00020002});
        list.assign(static_cast<HANDLE*>(value), static_cast<HANDLE*>(value) + size / sizeof(HANDLE));
        for (const HANDLE each : list) {
          DWORD handle_flags = 0;
          EXPECT_TRUE(GetHandleInformation(each, &handle_flags) && (handle_flags & HANDLE_FLAG_INHERIT));
        }
        return original(target, flags, attribute, value, size, rest...);
      });
  EXPECT_EQ(process::process(children::command("exit", {"0"}), how).exit_status(), 0u);
  EXPECT_EQ(update.calls(), 1u);
  EXPECT_EQ(list.size(), 6u) << "input, output, error, the event and two ends";
  EXPECT_EQ(std::adjacent_find(list.begin(), list.end(), std::greater_equal<>()), list.end()) << "strictly ascending";
  for (const HANDLE expected : {event.handle, standard, ends.read_handle(), ends.write_handle()}) {
    EXPECT_EQ(std::count(list.begin(), list.end(), expected), 1);
  }

  // The parent's own input may be of any kind, even a number that stands for nothing.
  SetHandleInformation(event.handle, HANDLE_FLAG_INHERIT, 0);
  const HANDLE former = GetStdHandle(STD_INPUT_HANDLE);
  process::context plain;
  plain.explicitlyInheritHandles(true);
  for (const HANDLE input : {event.handle, INVALID_HANDLE_VALUE, reinterpret_cast<HANDLE>(0x7ffc)}) {
    SetStdHandle(STD_INPUT_HANDLE, input);
    EXPECT_EQ(process::process(children::command("exit", {"5"}), plain).exit_status(), 5u);
    EXPECT_EQ(std::count(list.begin(), list.end(), input), input == event.handle ? 1 : 0);
  }
  SetStdHandle(STD_INPUT_HANDLE, former);
}

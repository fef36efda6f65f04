// Pipes between this process and real children.

#include "children.hpp"
#include "children/pattern.hpp"

#include <gtest/gtest.h>

#include <string>
#include <thread>

namespace process = foundation::core::process;
using children::read_all;

namespace {

// Where two texts part, rather than megabytes of them in a report.
void expect_same_bytes(const std::string& actual, const std::string& expected) {
  ASSERT_EQ(actual.size(), expected.size());
  const auto parting = std::mismatch(actual.begin(), actual.end(), expected.begin());
  EXPECT_EQ(parting.first - actual.begin(), static_cast<std::ptrdiff_t>(expected.size())) << "first difference";
}

void write_all(const process::iopipe_device& device, const std::string& bytes) {
  for (std::size_t at = 0; at < bytes.size();) {
    at += static_cast<std::size_t>(device.write(bytes.data() + at, static_cast<std::streamsize>(bytes.size() - at)));
  }
}

}  // namespace

TEST(ChildPipes, CarryMegabytesBothWaysAtOnceWhileStandardErrorFloods) {
  constexpr std::size_t size = 4 * 1024 * 1024 + 1;
  constexpr std::size_t flood = 3 * 1024 * 1024 + 7;
  process::iopipe input;
  process::iopipe output;
  process::iopipe errors;
  process::context how;
  how.std_in(process::pipe_from(input));
  how.std_out(process::pipe_to(output));
  how.std_err(process::pipe_to(errors));
  process::process child(children::command("child_echo", {"--flood-stderr", std::to_string(flood)}), how);

  const std::string sent = child_pattern::bytes(size, 11);
  std::string flooded;
  std::thread writer([&] {
    write_all(input.device(), sent);
    input.device().close_for_write();
  });
  std::thread error_reader([&] { flooded = read_all(errors.device()); });
  const std::string received = read_all(output.device());
  writer.join();
  error_reader.join();
  expect_same_bytes(received, sent);
  EXPECT_EQ(flooded.size(), flood);
  EXPECT_EQ(child.exit_status(), 0u);
}

TEST(ChildPipes, TextModeGivesTheChildsLinesWithOneEndEach) {
  constexpr unsigned count = 20000;
  for (const char* line_end : {"--crlf", "--lf"}) {
    process::iopipe output(0);
    process::process child(children::command("child_write", {"--lines", std::to_string(count), line_end}),
                           children::output_to(output));
    std::string text;
    for (std::string line; std::getline(output, line);) {
      text += line + "\n";
    }
    expect_same_bytes(text, child_pattern::lines(count));
    EXPECT_EQ(child.exit_status(), 0u);
  }
}

// A one-byte read takes two bytes from the system and keeps the second. It must reach whoever reads on, here another
// process that knows the pipe only by its descriptor.
TEST(ChildPipes, APipeWithAPendingCharacterIsHandedToAnotherProcess) {
  process::iopipe data;
  const process::iopipe_device device = data.device();
  write_all(device, "abcdef");
  char first = 0;
  ASSERT_EQ(device.read(&first, 1), 1);
  ASSERT_EQ(first, 'a');

  process::iopipe output;
  process::context how = children::output_to(output);
  how.explicitlyInheritHandles(true);
  const std::string descriptor = how.inherit_pipe(data, process::open_mode::read);
  ASSERT_NE(descriptor.find(" 0 1 98 0"), std::string::npos) << descriptor;
  process::process child(children::command("child_pipe", {descriptor}), how);
  EXPECT_FALSE(device.is_open_for_read()) << "the end belongs to the child now";
  write_all(device, "gh");
  device.close_for_write();
  EXPECT_EQ(read_all(output.device()), "bcdefgh");
  EXPECT_EQ(child.exit_status(), 0u);
}

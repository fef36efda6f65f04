// Arguments arrive in a real child as they were given, by the run-time's parser and by the system's.

#include "children.hpp"
#include "launch_texts.hpp"

#include <gtest/gtest.h>

#include <cstdint>
#include <cstring>
#include <string>
#include <vector>

namespace process = foundation::core::process;

namespace {

// Short of the 32,767 units of a command line, with room for the program's name; quoting can more than double a text.
constexpr std::size_t most_units_a_child = 30000;

std::vector<std::string> parse_records(const std::string& bytes) {
  std::vector<std::string> records;
  for (std::size_t at = 0; at + sizeof(std::uint32_t) <= bytes.size();) {
    std::uint32_t length = 0;
    std::memcpy(&length, bytes.data() + at, sizeof length);
    records.push_back(bytes.substr(at + sizeof length, length));
    at += sizeof length + length;
  }
  return records;
}

std::vector<std::string> arguments_that_arrive(const std::vector<std::string>& arguments, bool system_parser) {
  std::vector<std::string> all = arguments;
  if (system_parser) {
    all.insert(all.begin(), "--system-parser");
  }
  process::iopipe output;
  process::process child(children::command("child_args", all), children::output_to(output));
  const std::vector<std::string> arrived = parse_records(children::read_all(output.device()));
  EXPECT_EQ(child.exit_status(), 0u);
  return arrived;
}

// Sends arguments in as few children as the length of a command line allows.
class batch {
 public:
  void add(const std::string& argument) {
    const std::size_t units = 2 * argument.size() + 3;
    if (units_ + units > most_units_a_child) {
      send();
    }
    arguments_.push_back(argument);
    units_ += units;
  }
  void send() {
    if (arguments_.empty()) {
      return;
    }
    const bool system_parser = children_++ % 2 == 1;
    const std::vector<std::string> arrived = arguments_that_arrive(arguments_, system_parser);
    ASSERT_EQ(arrived.size(), arguments_.size());
    for (std::size_t i = 0; i != arrived.size(); ++i) {
      ASSERT_EQ(arrived[i], arguments_[i]) << "argument " << i << ", system's parser: " << system_parser;
    }
    sent_ += arguments_.size();
    arguments_.clear();
    units_ = 0;
  }
  std::size_t sent() const { return sent_; }

 private:
  std::vector<std::string> arguments_;
  std::size_t units_ = 0;
  std::size_t children_ = 0;
  std::size_t sent_ = 0;
};

}  // namespace

TEST(Arguments, EveryShortStringOfTheSpecialCharactersArrives) {
  const std::string alphabet = "a \t\"\\";
  batch all;
  for (std::size_t length = 1; length <= 6; ++length) {
    std::vector<std::size_t> digits(length, 0);
    for (bool more = true; more;) {
      std::string argument;
      for (const std::size_t digit : digits) {
        argument += alphabet[digit];
      }
      ASSERT_NO_FATAL_FAILURE(all.add(argument));
      std::size_t place = 0;
      while (place < length && ++digits[place] == alphabet.size()) {
        digits[place++] = 0;
      }
      more = place < length;
    }
  }
  all.send();
  EXPECT_EQ(all.sent(), 19530u);
}

// Batch files are run by an interpreter that takes the arguments apart once more.
TEST(Arguments, RunNoCommandOfTheirOwnInABatchFile) {
  const test_support::temp_dir folder("blank in name");
  const std::string file = folder.file("tool.BaT");
  test_support::write_file(file, "@echo %1, %~2, %3\r\n");
  process::iopipe output(0);
  process::process child(process::make_command(file, "one", "two (x)", "C:\\a~b'#"), children::output_to(output));
  EXPECT_EQ(children::read_all(output.device()), "one, two (x), C:\\a~b'#\n");
  const std::string fine[] = {file, folder.file("tool.bat. ."), "none.CMD "},
                    names[] = {"a&b.bat", "a,b.cmd", "@a.bat"};
  const std::string arguments[] = {"a\" & echo INJECTED & rem ",
                                   "a&echo INJECTED",
                                   "|echo INJECTED",
                                   "%PATH%",
                                   "!a!",
                                   "^",
                                   "<a",
                                   ">a",
                                   "a\nb",
                                   "a b\x1a",
                                   "\x7f"};
  const auto expect_refusal = [](const process::command& what, const std::string& culprit) {
    process::iopipe ends;
    EXPECT_EQ(launch_texts::text_of_launch<process::process_init_error>(what, children::output_to(ends)),
              launch_texts::init_error_text(what, "the " + culprit +
                                                      "\" cannot be passed safely to the command "
                                                      "interpreter, which runs batch files"));
    EXPECT_FALSE(ends.is_open_for_write());
  };
  for (const std::string& name : names) {
    expect_refusal(name, "program name \"" + name);
  }
  for (const std::string& name : fine) {
    for (const std::string& argument : arguments) {
      expect_refusal(process::make_command(name, "fine", argument), "argument \"" + argument);
    }
  }
}

// Arguments arrive in a real child as they were given, by the run-time's parser and by the system's.

#include "children.hpp"
#include "every_test.hpp"
#include "every_text.hpp"
#include "launch_texts.hpp"

namespace process = foundation::core::process;

namespace {

// Short of the 32,767 units of a command line, with room for the program's name; quoting can more than double a text.
constexpr std::size_t most_units_a_child = 30000;

std::vector<std::string> arguments_that_arrive(const std::vector<std::string>& arguments, const char* parser) {
  process::iopipe output;
  const process::process child(children::command(parser, arguments), children::output_to(output));
  const std::string records = children::read_all(output.device());
  std::vector<std::string> arrived;
  for (std::size_t at = 0; at + sizeof(std::uint32_t) <= records.size();) {
    std::uint32_t length = 0;
    std::memcpy(&length, records.data() + at, sizeof length);
    arrived.push_back(records.substr(at + sizeof length, length));
    at += sizeof length + length;
  }
  return arrived;
}

}  // namespace

// In as few children as the length of a command line allows.
TEST(Arguments, EveryShortStringOfTheSpecialCharactersArrives) {
  std::vector<std::string> batch;
  std::size_t units = 0;
  int sent = 0;
  const auto send = [&] {
    const char* const parser = sent++ % 2 == 0 ? "args" : "system-args";
    EXPECT_EQ(arguments_that_arrive(batch, parser), batch) << parser;
    batch.clear();
    units = 0;
  };
  test_support::for_each_text("a \t\"\\", 6, [&](const std::string& argument) {
    batch.push_back(argument);
    units += 2 * argument.size() + 3;
    if (units > most_units_a_child) {
      send();
    }
  });
  send();
}

// Batch files are run by an interpreter that takes the arguments apart once more. The shell, which starts elevated
// children, finds them by other names, too.
TEST(Arguments, RunNoCommandOfTheirOwnInABatchFile) {
  const test_support::temp_dir folder("blank in name");
  const std::string file = folder.file("tool.BaT");
  test_support::write_file(file, "@echo %1, %~2, %3\r\n");
  process::iopipe output(0);
  process::process child(process::make_command(file, "one", "two (x)", "C:\\a~b'#"), children::output_to(output));
  EXPECT_EQ(children::read_all(output.device()), "one, two (x), C:\\a~b'#\n");
  const std::string fine[] = {file, folder.file("tool.bat. ."), "none.CMD "},
                    names[] = {"a&b.bat", "a,b.cmd", "@a.bat"};
  const auto expect_refusal = [](const process::command& what, const std::string& culprit, bool elevated = false) {
    process::iopipe ends;
    process::context how = children::output_to(ends);
    how.elevated(elevated);
    EXPECT_EQ(launch_texts::text_of_launch<process::process_init_error>(what, how),
              launch_texts::init_error_text(what, "the " + culprit +
                                                      "\" cannot be passed safely to the command "
                                                      "interpreter, which runs batch files"));
    EXPECT_FALSE(ends.is_open_for_write());
  };
  for (const std::string& name : names) {
    expect_refusal(name, "program name \"" + name);
  }
  for (const std::string& name : fine) {
    for (const char special : std::string("\"&|%!^<>\n\x1a\x7f")) {
      const std::string argument = std::string("a ") + special + "echo INJECTED";
      expect_refusal(process::make_command(name, "fine", argument), "argument \"" + argument);
    }
  }
  for (const std::string& name : {folder.file("tool"), std::string("tool.LNK")}) {
    expect_refusal(process::make_command(name, "%"), "argument \"%", true);
  }
}

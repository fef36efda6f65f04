// What cmd makes of a text for it: Wine's, where the tests run under Wine.
#include "children.hpp"
#include "every_test.hpp"
#include "seeded_random.hpp"

#include <kit/shell_text.hpp>

#include <cstdio>

namespace {

using namespace foundation::kit;

/// The records that `children/child.cpp` writes in its mode "args".
std::vector<std::string> arguments_by_way_of_cmd(const process::command& value) {
  FILE* const output = _wpopen(test_support::widen('"' + for_cmd(value) + '"').c_str(), L"rb");
  std::vector<std::string> arrived;
  for (std::uint32_t length = 0; std::fread(&length, sizeof length, 1, output) == 1 && length < 9000;) {
    arrived.emplace_back(length, '\0');
    if (std::fread(arrived.back().data(), 1, length, output) != length) {
      break;
    }
  }
  EXPECT_EQ(_pclose(output), 0);
  return arrived;
}

void expect_arrival(const std::vector<std::string>& arguments) {
  const process::command value = children::command("args", arguments);
  EXPECT_EQ(arguments_by_way_of_cmd(value), arguments) << for_cmd(value);
}

TEST(ShellText, ArrivesByWayOfCmdAsItWasGiven) {
  expect_arrival({"",    "a b",
                  "\"",  "\\\"",
                  "a\\", "a b\\",
                  "&",   "a&echo INJECTED",
                  "|",   "a|b c",
                  "<",   ">x",
                  "^",   "^^",
                  "(",   ")",
                  "((a", "!",
                  "!a!", "a,b;c=d",
                  ",",   "@x",
                  "/?",  "*",
                  "?",   "\u00e4\U0001F600",
                  "'",   "`",
                  "~",   "#"});
  // Wine's cmd drops the ^ before it looks for variables, and the system's behind that: none is named here.
  expect_arrival({"%", "%%", "100%", "% no variable %", "%1", "%*", "a%\"b", "%\"&%"});
  expect_arrival({"\" & echo INJECTED & \"", "\\\\\"", "\"a\" \"b\"", "x\"&|<>^()!\"y", "^\"", "\"^"});
  test_support::seeded_random random;
  for (int round = 0; round < 8; ++round) {
    std::vector<std::string> arguments(20);
    for (std::string& argument : arguments) {
      argument = random.text(random.below(12), std::string("ab \\\\\"\"&|<>^()!,;='"));
    }
    expect_arrival(arguments);
  }
}

}  // namespace

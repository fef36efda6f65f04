// What a program and its arguments are, and the errors that tell why they could not be started.
#include <fl/process/command.hpp>
#include <fl/process/errors.hpp>

#include "every_test.hpp"

#include <boost/exception/get_error_info.hpp>
#include <boost/exception/info.hpp>

namespace {

using namespace foundation::core::process;
using detail::unspecified;
using arguments = std::vector<std::string>;

std::string printed(const command& value) {
  std::ostringstream stream;
  stream << value;
  return stream.str();
}

TEST(MakeCommand, TakesArgumentsUpToTheFirstThatIsLeftOut) {
  const std::string empty;  // the same text as the mark, at another address
  const std::pair<command, arguments> cases[] = {
      {make_command("p", ""), {""}},
      {make_command("p", unspecified()), {""}},
      {make_command("p", "a", unspecified(), "c"), {"a"}},
      {make_command("p", unspecified(), "b"), {"", "b"}},
      {make_command("p", "a", empty, "c"), {"a", "", "c"}},
      {make_command("p", "1", "2", "3", "4", "5", "6", "7", "8", "9", "10"),
       {"1", "2", "3", "4", "5", "6", "7", "8", "9", "10"}},
  };
  for (const auto& [made, expected] : cases) {
    EXPECT_EQ(made.name(), "p");
    EXPECT_EQ(made.args(), expected);
  }
}

TEST(Command, IsOrderedByTheBytesOfItsNameAndThenOfItsArguments) {
  const std::pair<std::string, arguments> ascending[] = {
      {"", {"z"}},  {"B", {}},         {"a", {}},     {"a", {""}},     {"a", {"", "x"}}, {"a", {"X"}},
      {"a", {"x"}}, {"a", {"x", "a"}}, {"a", {"xa"}}, {"a", {"\xff"}}, {"ab", {}},       {"\xff", {}}};
  for (const auto& i : ascending) {
    for (const auto& j : ascending) {
      command left(i.first), right(j.first);
      left.args() = i.second;
      right.args() = j.second;
      EXPECT_EQ(left < right, &i < &j) << printed(left) << " | " << printed(right);
      EXPECT_EQ(left == right, &i == &j) << printed(left) << " | " << printed(right);
    }
  }
}

TEST(Command, PrintsNameAndArgumentsWithoutQuotingAndKeepsWideTextAsUtf8) {
  EXPECT_EQ(printed(make_command("a name", "x y", "", "\"")), "a name x y  \"");
  EXPECT_EQ(command(u"\u00e4\U0001F600").name(), "\xc3\xa4\xf0\x9f\x98\x80");
}

class named_command_not_found : public command_not_found {
 public:
  using command_not_found::command_not_found;
  std::string& command() { return command_; }
};

TEST(CommandNotFound, IsASystemErrorWhoseCopiesCarryTheCommandAndWhatWasAttached) {
  using hint = boost::error_info<struct hint_tag, int>;
  named_command_not_found copy("y");
  {
    named_command_not_found error("the tool");
    error.command() = "tool";
    error << hint(7);
    copy = error;
  }
  named_command_not_found caught(copy);
  const boost::system::system_error& base = caught;
  EXPECT_EQ(std::string(base.what()).find("the tool"), 0u);
  EXPECT_EQ(base.code(), boost::system::error_code(2, boost::system::system_category()));
  EXPECT_EQ(caught.command(), "tool");
  EXPECT_EQ(*boost::get_error_info<hint>(caught), 7);
}

}  // namespace

// What a program and its arguments are, and the errors that tell why they could not be started.
#include <fl/process/command.hpp>
#include <fl/process/errors.hpp>

#include "every_test.hpp"

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
      {make_command("p", unspecified()), {""}},
      {make_command("p", unspecified(), "b"), {"", "b"}},
      {make_command("p", "a", empty, "c"), {"a", "", "c"}},
      {make_command("p", std::string("a"), unspecified(), "c"), {"a"}},
      {make_command("p", "1", "2", "3", "4", "5", "6", "7", "8", "9", "10"),
       {"1", "2", "3", "4", "5", "6", "7", "8", "9", "10"}},
  };
  for (const auto& [made, expected] : cases) {
    EXPECT_EQ(made.name(), "p");
    EXPECT_EQ(made.args(), expected);
  }
}

TEST(MakeCommand, TakesTextsOfEveryKindAndNumberAndThoseThatAreGathered) {
  const std::string_view view = std::string_view("view!").substr(0, 4);
  const std::vector<std::string> strings = {"a", "", "c"};
  const std::vector<std::string_view> views = {"a", "", "c"};
  const foundation::core::ustring wide[] = {u"a", u"", u"c"};
  const char* const words[] = {"program", "a", "", "c"};
  const arguments all = {"a", "", "c"};
  const std::pair<command, arguments> cases[] = {
      {make_command("p"), {}},
      {make_command(u"p", view, u"\u00e4", u"\xD800", std::string("s")), {"view", "\xc3\xa4", "\xef\xbf\xbd", "s"}},
      {make_command("p", "1", "2", "3", "4", "5", "6", "7", "8", "9", "10", "11", ""),
       {"1", "2", "3", "4", "5", "6", "7", "8", "9", "10", "11", ""}},
      {make_command("p", strings[0], strings[1]), {"a", ""}},  // neither iterators
      {make_command("p", strings), all},
      {make_command(view.substr(4), views).name("p"), all},
      {make_command("p", wide), all},
      {make_command("p", words + 1, words + 4), all},
      {make_command(u"p", strings.begin(), strings.end()), all},
      {make_command("p", {"a", "", "c"}), all},
      {make_command("p", {"a", "b"}), {"a", "b"}},  // two pointers, of which a string could be made
      {make_command("p", {'a', 'b'}), {"ab"}},      // and this one is made
      {make_command("p", {}), {""}},
      {make_command("p", arguments()), {}},
  };
  for (const auto& [made, expected] : cases) {
    EXPECT_EQ(made.name(), "p");
    EXPECT_EQ(made.args(), expected);
  }
}

TEST(Command, IsOrderedByTheBytesOfItsNameAndThenOfItsArguments) {
  const command ascending[] = {
      command("B"),  command("a"),   make_command("a", ""), make_command("a", "x"), make_command("a", "x", "a"),
      command("ab"), command("\xff")};
  for (const command& left : ascending) {
    for (const command& right : ascending) {
      EXPECT_EQ(left < right, &left < &right) << left << " | " << right;
      EXPECT_EQ(left == right, &left == &right) << left << " | " << right;
    }
  }
}

TEST(Command, PrintsNameAndArgumentsWithoutQuotingAndKeepsWideTextAsUtf8) {
  EXPECT_EQ(printed(make_command("a name", "x y", "", "\"")), "a name x y  \"");
  EXPECT_EQ(command(u"\u00e4\U0001F600").name(), "\xc3\xa4\xf0\x9f\x98\x80");
}

TEST(CommandNotFound, IsTheSystemErrorOfAMissingFile) {
  const command_not_found error("the tool");
  EXPECT_THAT(error.what(), testing::StartsWith("the tool"));
  EXPECT_EQ(error.code(), boost::system::error_code(2, boost::system::system_category()));
}

}  // namespace

#include "process/launch_text/argument_quoting.hpp"

#include "every_test.hpp"
#include "every_text.hpp"
#include "seeded_random.hpp"

namespace {

using namespace foundation::core::process;

// The rule as insertions into the string, from its end to its start; quadratic in time.
std::string slowly_quoted(std::string s) {
  const bool outer_quotes = std::strcspn(s.c_str(), " \r\n\t") != s.size();
  bool pending = outer_quotes;
  std::size_t count = 0;
  for (std::size_t i = s.size(); i > 0; --i) {
    const char c = s[i - 1];
    if (c == '"') {
      if (pending) {
        s.insert(i, count, '\\');
      }
      pending = true;
      count = 1;
    } else if (pending && c == '\\') {
      ++count;
    } else if (pending) {
      s.insert(i, count, '\\');
      pending = false;
    }
  }
  if (pending) {
    s.insert(0, count, '\\');
  }
  return outer_quotes ? '"' + s + '"' : s;
}

TEST(ArgumentQuoting, GivesTheKnownForms) {
  const std::pair<std::string, std::string> cases[] = {
      {"a\\b\\\\", "a\\b\\\\"},
      {"a b\\", R"("a b\\")"},
      {"a\\\"b", R"(a\\\"b)"},
      {"\t", "\"\t\""},
      {"\n\r", "\"\n\r\""},
      {"\r", "\"\r\""},
      {"\v\f\xe4\xa0", "\v\f\xe4\xa0"},
      {std::string("\\\0\\", 3), std::string("\"\\\0\\\\\"", 6)},
  };
  for (const auto& [argument, expected] : cases) {
    EXPECT_EQ(quote_argument(argument), expected) << argument;
    EXPECT_EQ(slowly_quoted(argument), expected) << "the reference, of " << argument;
  }
}

TEST(ArgumentQuoting, AgreesWithTheRuleForAllShortArgumentsAndForLongOnes) {
  test_support::for_each_text("a \t\"\\", 6, [](const std::string& argument) {
    ASSERT_EQ(quote_argument(argument), slowly_quoted(argument)) << argument;
  });
  test_support::seeded_random random;
  for (const std::string alphabet : {"\"", "\\", " ", "\\\\\\\\\\\\\"", "ab\\\" ", "abcdefgh\"\\", "\r\n\\\""}) {
    const std::string argument = random.text(3000, alphabet);
    ASSERT_EQ(quote_argument(argument), slowly_quoted(argument)) << "from " << alphabet;
  }
}

TEST(CommandLine, HasABlankBehindEachArgumentAndNoneBehindANameAlone) {
  const std::pair<command, std::string> cases[] = {
      {command("prog"), "prog"},
      {make_command("prog", "a", "b c"), "prog a \"b c\" "},
      {make_command("C:\\Program Files\\x\\", ""), R"("C:\Program Files\x\\"  )"},
      {make_command("p", "a", "", "b"), "p a  b "},
  };
  for (const auto& [value, line] : cases) {
    EXPECT_EQ(join_command_line(value), line);
  }
}

}  // namespace

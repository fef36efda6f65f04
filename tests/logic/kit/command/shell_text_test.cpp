// How a command is written for a shell. PowerShell is on no machine that runs these tests: what it does with a text is
// modelled here after its documentation. What cmd does is tested with Wine's.

#include "every_test.hpp"
#include "seeded_random.hpp"

#include <kit/arguments.hpp>
#include <kit/shell_text.hpp>

#include <regex>

namespace {

using namespace foundation::kit;
using process::command;
using process::make_command;
using texts = std::vector<std::string>;

std::string refusal(std::string (*write)(const command&), const command& value) {
  try {
    return "written as " + write(value);
  } catch (const std::invalid_argument& error) {
    return error.what();
  }
}

TEST(ShellText, HasTheKnownForms) {
  const std::tuple<command, std::string, std::string> cases[] = {
      {command("a b\\x.exe"), R"("a b\x.exe")", "& 'a b\\x.exe'"},
      {make_command("x", "-o", "a b", "c&d\\"), R"("x" -o "a b" "c&d\\")", R"(& 'x' '-o' 'a b' 'c&d\')"},
      {make_command("x", "it's", "\u2019"), "\"x\" \"it's\" \"\u2019\"", "& 'x' 'it''s' '\u2019\u2019'"},
      {make_command("x", "100%", "a\"&b"), R"("x" ^"100^%^" ^"a\^"^&b^")",
       R"(& { $PSNativeCommandArgumentPassing = 'Legacy'; & 'x' '100%' '"a\"&b"' })"},
      {make_command("x", ""), R"("x" "")", R"(& { $PSNativeCommandArgumentPassing = 'Legacy'; & 'x' '""' })"},
      {make_command("x", "a \\"), R"("x" "a \\")",
       R"(& { $PSNativeCommandArgumentPassing = 'Legacy'; & 'x' '"a \\"' })"},
      {make_command("x", "%PATH:~0,1%%\u00e4:a=b%"), "\"x\" ^\"^%^PATH:~0,1^%^%^\u00e4:a=b^%^\"",
       "& 'x' '%PATH:~0,1%%\u00e4:a=b%'"},
      {make_command("x", "--%"), R"("x" ^"--^%^")",
       R"(& { $PSNativeCommandArgumentPassing = 'Legacy'; & 'x' '"--%"' })"},
      {make_command("a.cmd", "b c", ","), R"("a.cmd" "b c" ",")", "& 'a.cmd' 'b c' ','"},
  };
  for (const auto& [value, cmd, powershell] : cases) {
    EXPECT_EQ(for_cmd(value), cmd);
    EXPECT_EQ(for_powershell(value), powershell);
  }
  EXPECT_EQ(for_powershell(make_command("x", "\na\x7f'")), "& 'x' ('' + [char]10 + 'a' + [char]127 + '''')");
}

TEST(ShellText, RefusesWhatTheShellCannotBeToldAndSaysWhichArgumentItIs) {
  const std::string nul("a\0b", 3);
  for (const auto write : {&for_cmd, &for_powershell}) {
    EXPECT_EQ(refusal(write, command("")), "the name is empty");
    for (const std::string name : {"a,b.cmd", "@x.bat"}) {
      EXPECT_EQ(refusal(write, command(name)), "the name would be cut, as that of a batch file");
    }
    EXPECT_EQ(refusal(write, make_command("x", "a", nul)), "argument 2 holds a NUL, which ends a command line");
    for (const std::string argument : {"a&b", "%x%", "\"", "a\tb"}) {
      for (const std::string name : {"x.bat", "C:\\x.CmD", "x.cmd. ."}) {
        EXPECT_EQ(refusal(write, make_command(name, argument)),
                  "argument 1 holds what a batch file would take apart once more");
      }
    }
  }
  EXPECT_EQ(refusal(for_cmd, make_command("x", "a", "b", "c\n")),
            "argument 3 holds a line break or another control character, which cannot be typed at a prompt");
  EXPECT_EQ(refusal(for_cmd, command("%x%")),
            "the name holds a quote or a percent sign, which means something to cmd even in quotes");
  // A character of four bytes makes two units.
  const auto of_length = [](std::size_t units) {
    return make_command("x", std::string(units - 8, 'a') + "\U0001F600");
  };
  EXPECT_EQ(for_cmd(of_length(8191)).size(), 8193U);
  EXPECT_EQ(refusal(for_cmd, of_length(8192)), "the command line has 8192 characters, and cmd takes 8191");
}

std::string replaced(const std::string& text, const char* what, const char* by) {
  return std::regex_replace(text, std::regex(what), by);
}

// Which of the quotation marks it is does not matter here.
std::string with_straight_quotes(const std::string& text) {
  return replaced(text, "\u2019|\u201b", "'");
}

/// How PowerShell reads one of our lines: literals, sums of them and of characters, and blanks between.
texts read_by_powershell(const std::string& text) {
  texts all;
  static const std::regex token(R"(( \+ )|( )|\[char\](\d+)|'((?:''|[^'])*)')");
  for (std::sregex_iterator it(text.begin(), text.end(), token), end; it != end; ++it) {
    if ((*it)[2].matched) {
      all.emplace_back();
    } else if ((*it)[3].matched) {
      all.back() += static_cast<char>(std::stoi((*it)[3]));
    } else {
      all.back() += replaced((*it)[4], "''", "'");
    }
  }
  return all;
}

// U+00A0 stands for the white space beyond ASCII.
bool has_white_space_outside_quotes(std::string_view text) {
  bool inside = false, escaped = false, found = false;
  for (std::size_t i = 0; i < text.size(); ++i) {
    inside ^= text[i] == '"' && !escaped;
    found |= !inside && (text[i] == ' ' || (text[i] >= '\t' && text[i] <= '\r') || text.substr(i, 2) == "\u00a0");
    escaped = text[i] == '\\';
  }
  return found;
}

/// What the program gets of what the versions before 7.3 read. `doubling`: whether backslashes in front of the closing
/// quote are doubled, which the oldest do not do.
texts passed_on_the_old_way(const texts& arguments, bool doubling) {
  std::string line = "x";
  for (const std::string& text : arguments) {
    const bool quotes = has_white_space_outside_quotes(text);
    const std::size_t others = text.find_last_not_of('\\') + 1;
    line += (text.empty() ? "" : " ") + (quotes ? '"' + text + (doubling ? text.substr(others) : "") + '"' : text);
  }
  texts made = split_command_line(line);
  made.erase(made.begin());
  return made;
}

TEST(ShellText, TellsEveryVersionOfPowerShellTheSameArguments) {
  const texts pieces = {"a", "\\", "\\\\", "\"", "'", " ", "\u2019", "\u201b", "\u00a0", "$x", "\n", "\t", "%P%", ""};
  const std::string block = "& { $PSNativeCommandArgumentPassing = 'Legacy'; & 'x'";
  test_support::seeded_random random;
  for (int round = 0; round < 400; ++round) {
    command value("x");
    texts expected;
    for (std::size_t count = random.below(4); count != 0; --count) {
      std::string& argument = value.args().emplace_back();
      for (std::size_t length = random.below(6); length != 0; --length) {
        argument += random.pick(pieces);
      }
      expected.push_back(with_straight_quotes(argument));
    }
    const std::string text = with_straight_quotes(for_powershell(value));
    const bool legacy = text.rfind(block, 0) == 0;
    ASSERT_TRUE(legacy || text.rfind("& 'x'", 0) == 0) << text;
    const std::string rest = legacy ? text.substr(block.size(), text.size() - block.size() - 2) : text.substr(5);
    const texts read = read_by_powershell(rest);
    for (const bool doubling : {false, true}) {
      ASSERT_EQ(passed_on_the_old_way(read, doubling), expected) << text;
    }
    ASSERT_TRUE(legacy || read == expected) << "what later versions pass on of " << text;
  }
}

}  // namespace

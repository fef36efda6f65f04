// How a command is written for a shell. PowerShell is on no machine that runs these tests: what it does with a text is
// modelled here after its documentation. What cmd does is tested with the real one beneath Wine.
#include "every_test.hpp"
#include "seeded_random.hpp"

#include <kit/shell_text.hpp>

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
      {make_command("x", "%PATH:~0,1%"), R"("x" ^"^%^PATH:~0,1^%^")", "& 'x' '%PATH:~0,1%'"},
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

/// How PowerShell reads one of our lines.
class powershell_reader {
 public:
  explicit powershell_reader(std::string_view text) : rest_(text) {}

  /// Name and arguments. `legacy`: the block asks for the old way.
  texts read(bool& legacy) {
    legacy = take("& { $PSNativeCommandArgumentPassing = 'Legacy'; ");
    EXPECT_TRUE(take("& "));
    texts all = {value()};
    while (take(" ") && !take("}")) {
      all.push_back(value());
    }
    EXPECT_EQ(rest_, "");
    return all;
  }

 private:
  bool take(std::string_view expected) {
    const bool is_there = rest_.substr(0, expected.size()) == expected;
    rest_.remove_prefix(is_there ? expected.size() : 0);
    return is_there;
  }
  bool take_quote() { return take("'") || take("\u2018") || take("\u2019") || take("\u201a") || take("\u201b"); }
  std::string literal() {
    std::string text;
    EXPECT_TRUE(take_quote()) << rest_;
    while (!rest_.empty()) {
      const std::string_view before = rest_;
      if (take_quote()) {
        const std::string_view quote = before.substr(0, before.size() - rest_.size());
        if (!take_quote()) {
          break;
        }
        text += quote;
      } else {
        EXPECT_GE(static_cast<unsigned char>(rest_[0]), 0x20) << "more than a line";
        text += rest_[0];
        rest_.remove_prefix(1);
      }
    }
    return text;
  }
  std::string value() {
    if (!take("(")) {
      return literal();
    }
    std::string sum = literal();
    while (take(" + ")) {
      if (take("[char]")) {
        std::size_t digits = 0;
        sum += static_cast<char>(std::stoi(std::string(rest_), &digits));
        rest_.remove_prefix(digits);
      } else {
        sum += literal();
      }
    }
    EXPECT_TRUE(take(")"));
    return sum;
  }

  std::string_view rest_;
};

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

/// How the versions before 7.3 put arguments together. `doubling`: whether backslashes in front of the closing quote
/// are doubled, which the oldest do not do.
std::string command_line(const texts& arguments, bool doubling) {
  std::string line;
  for (const std::string& text : arguments) {
    if (text.empty()) {
      continue;
    }
    const bool quotes = has_white_space_outside_quotes(text);
    const std::size_t others = text.find_last_not_of('\\') + 1;
    line += ' ' + (quotes ? '"' + text + (doubling ? text.substr(others) : "") + '"' : text);
  }
  return line;
}

/// The parser of the C run-time.
texts parsed(std::string_view line) {
  texts all;
  bool inside = false, begun = false;
  std::size_t backslashes = 0;
  for (const char c : std::string(line) + ' ') {
    if (c == '\\') {
      ++backslashes;
      continue;
    }
    const bool is_blank = (c == ' ' || c == '\t') && !inside;
    begun |= !is_blank || backslashes != 0;
    if (begun && all.empty()) {
      all.emplace_back();
    }
    if (begun) {
      all.back().append(c == '"' ? backslashes / 2 : backslashes, '\\');
    }
    if (c == '"' && backslashes % 2 == 0) {
      inside = !inside;
    } else if (!is_blank) {
      all.back() += c;
    } else if (begun) {
      all.emplace_back();
      begun = false;
    }
    backslashes = 0;
  }
  if (!all.empty()) {
    all.pop_back();
  }
  return all;
}

TEST(ShellText, TellsEveryVersionOfPowerShellTheSameArguments) {
  const texts pieces = {"a",  "\\", "\\\\", "\"", "'",   " ",   "\u2019", "\u201b", "\u00a0",
                        "$x", "`",  "\n",   "\t", "%P%", "{0}", "|",      ""};
  test_support::seeded_random random;
  for (int round = 0; round < 2000; ++round) {
    command value("a 'name'");
    for (std::size_t count = random.below(4); count != 0; --count) {
      std::string& argument = value.args().emplace_back();
      for (std::size_t length = random.below(6); length != 0; --length) {
        argument += random.pick(pieces);
      }
    }
    const std::string text = for_powershell(value);
    bool legacy = false;
    texts read = powershell_reader(text).read(legacy);
    EXPECT_EQ(read[0], value.name());
    read.erase(read.begin());
    for (const bool doubling : {false, true}) {
      ASSERT_EQ(parsed(command_line(read, doubling)), value.args()) << text << "\n" << command_line(read, doubling);
    }
    if (!legacy) {  // Later versions hand over what they read.
      ASSERT_EQ(read, value.args()) << text;
    }
  }
}

}  // namespace

#include <kit/shell_text.hpp>

#include <algorithm>
#include <cstddef>
#include <stdexcept>
#include <string_view>

namespace foundation::kit {

namespace {

constexpr std::size_t most_cmd_units = 8191;  // UTF-16 units of a line
constexpr std::size_t name_index = 0;         // arguments count from 1

[[noreturn]] void refuse(std::size_t index, const std::string& why) {
  throw std::invalid_argument((index == name_index ? "the name " : "argument " + std::to_string(index) + " ") + why);
}

bool is_control(char c) {
  return static_cast<unsigned char>(c) < 0x20 || c == '\x7f';
}

bool contains(std::string_view text, char c) {
  return text.find(c) != std::string_view::npos;
}

bool is_batch_file(std::string_view name) {
  name = name.substr(0, name.find_last_not_of(". ") + 1);  // The system leaves these out at the end of a name.
  std::string end(name.substr(name.size() - std::min<std::size_t>(name.size(), 4)));
  std::transform(end.begin(), end.end(), end.begin(),
                 [](char c) { return c >= 'A' && c <= 'Z' ? c + ('a' - 'A') : c; });
  return end == ".bat" || end == ".cmd";
}

/// What no shell can be told.
void check(const process::command& value) {
  if (value.name().empty()) {
    refuse(name_index, "is empty");
  }
  const bool is_batch = is_batch_file(value.name());
  const bool is_cut = value.name().find_first_of(" \t") == std::string::npos &&  // A launch puts no quotes around it.
                      (contains("@(", value.name()[0]) || value.name().find_first_of(",;=") != std::string::npos);
  if (is_batch && is_cut) {
    refuse(name_index, "would be cut, as that of a batch file");
  }
  std::size_t index = name_index;
  const auto check_text = [&](const std::string& text) {
    if (contains(text, '\0')) {
      refuse(index, "holds a NUL, which ends a command line");
    }
    if (is_batch &&
        (text.find_first_of("\"%!^&|<>") != std::string::npos || std::any_of(text.begin(), text.end(), is_control))) {
      refuse(index, "holds what a batch file would take apart once more");
    }
    ++index;
  };
  check_text(value.name());
  std::for_each(value.args().begin(), value.args().end(), check_text);
}

/// In quotes for the parser of the C run-time: a quote gets a backslash in front, and backslashes in front of it or at
/// the end are doubled. A launch quotes the same way, but not where a shell alone needs quotes, nor what is empty.
std::string in_quotes(std::string_view text) {
  std::string result = "\"";
  std::size_t backslashes = 0;  // that stand in front of what comes next
  for (const char c : text) {
    if (c == '"') {
      result.append(backslashes + 1, '\\');
    }
    backslashes = c == '\\' ? backslashes + 1 : 0;
    result += c;
  }
  return result.append(backslashes, '\\') += '"';
}

// ---- cmd ----

bool is_plain(char c) {
  return (c >= 'a' && c <= 'z') || (c >= 'A' && c <= 'Z') || (c >= '0' && c <= '9') || contains("-_./\\:+@#", c);
}

/// Each character that means something to cmd behind a ^. A percent sign is looked at before any ^, so that one needs a
/// ^ behind it, too: no variable has a name that begins so.
std::string behind_carets(std::string_view text) {
  std::string result;
  char former = '\0';
  for (const char c : text) {
    if (contains("\"%!^&|<>()", c) || former == '%') {
      result += '^';
    }
    result += c;
    former = c;
  }
  return result;
}

std::string cmd_argument(const std::string& argument) {
  if (argument.find_first_of("\"%") != std::string::npos) {
    return behind_carets(in_quotes(argument));  // Quotes of cmd's own cannot be had: they would end at a quote inside.
  }
  const bool plain = !argument.empty() && std::all_of(argument.begin(), argument.end(), is_plain);
  return plain ? argument : in_quotes(argument);
}

/// UTF-16 units of a text in UTF-8.
std::size_t units(std::string_view text) {
  const auto units_of = [](char c) { return (c & 0xC0) == 0x80 ? 0 : (c & 0xF8) == 0xF0 ? 2 : 1; };
  std::size_t count = 0;
  for (const char c : text) {
    count += static_cast<std::size_t>(units_of(c));
  }
  return count;
}

void check_for_cmd(const std::string& text, std::size_t index) {
  if (std::any_of(text.begin(), text.end(), is_control)) {
    refuse(index, "holds a line break or another control character, which cannot be typed at a prompt");
  }
  if (index == name_index && text.find_first_of("\"%") != std::string::npos) {
    refuse(index, "holds a quote or a percent sign, which means something to cmd even in quotes");
  }
}

// ---- PowerShell ----

/// The length of the quotation mark that `text` begins with, in bytes: the straight one or one of U+2018 to U+201B,
/// which PowerShell takes for it. 0 if it begins with none.
std::size_t single_quote_length(std::string_view text) {
  if (text[0] == '\'') {
    return 1;
  }
  return text.size() >= 3 && text.substr(0, 2) == "\xe2\x80" && text[2] >= '\x98' && text[2] <= '\x9b' ? 3 : 0;
}

/// A literal, or a sum of literals and characters by their numbers.
std::string powershell_literal(std::string_view text) {
  std::string result = "'";
  bool is_sum = false;
  for (std::size_t at = 0; at < text.size(); ++at) {
    const char c = text[at];
    if (is_control(c)) {
      is_sum = true;
      result += "' + [char]" + std::to_string(static_cast<int>(c)) + " + '";
      continue;
    }
    if (const std::size_t length = single_quote_length(text.substr(at))) {
      result += text.substr(at, length);
      result += text.substr(at, length);
      at += length - 1;
      continue;
    }
    result += c;
  }
  result += '\'';
  return is_sum ? "(" + result + ")" : result;
}

/// Whether old and new versions hand it to the program alike: the old ones put quotes around what holds white space and
/// change nothing else. All of them take --% for their own mark, also as a literal, and hand it on if it has quotes.
bool is_same_for_all_versions(const std::string& argument) {
  const bool may_get_quotes = std::any_of(argument.begin(), argument.end(), [](char c) {
    return c == ' ' || is_control(c) || static_cast<unsigned char>(c) >= 0x80;
  });
  return !argument.empty() && argument != "--%" && !contains(argument, '"') &&
         !(may_get_quotes && argument.back() == '\\');
}

}  // namespace

std::string for_cmd(const process::command& value) {
  check(value);
  check_for_cmd(value.name(), name_index);
  std::string text = '"' + value.name() + '"';
  for (std::size_t i = 0; i < value.args().size(); ++i) {
    check_for_cmd(value.args()[i], i + 1);
    text += ' ' + cmd_argument(value.args()[i]);
  }
  if (const std::size_t length = units(text); length > most_cmd_units) {
    throw std::invalid_argument("the command line has " + std::to_string(length) + " characters, and cmd takes " +
                                std::to_string(most_cmd_units));
  }
  return text;
}

std::string for_powershell(const process::command& value) {
  check(value);
  const std::vector<std::string>& arguments = value.args();
  const bool for_all = std::all_of(arguments.begin(), arguments.end(), is_same_for_all_versions);
  std::string text = "& " + powershell_literal(value.name());
  for (const std::string& argument : arguments) {
    // The old way leaves alone what has its quotes already.
    text += ' ' + powershell_literal(is_same_for_all_versions(argument) ? argument : in_quotes(argument));
  }
  return for_all ? text : "& { $PSNativeCommandArgumentPassing = 'Legacy'; " + text + " }";
}

}  // namespace foundation::kit

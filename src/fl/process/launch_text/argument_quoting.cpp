#include "process/launch_text/argument_quoting.hpp"

#include <cstddef>
#include <cstring>

namespace foundation::core::process {

namespace {

// What quoting one argument adds to it.
struct additions {
  std::size_t backslashes;  // in front of quotes, and at the end if it gets quotes around it
  bool outer_quotes;
};

// Characters for which the parser would end an argument. A NUL cannot reach the child in any way.
bool is_separator(char c) {
  return (c == ' ') | (c == '\t') | (c == '\r') | (c == '\n') | (c == '\0');
}

// Seen from the end of an argument, a quote and each backslash of the run in front of it get one backslash more. The
// loops that go by this are free of branches: in an argument made of quotes and backslashes a processor guesses every
// other branch wrong, which costs more than all the rest.
bool gets_backslash(char c, bool right_neighbour_does) {
  return (c == '"') | ((c == '\\') & right_neighbour_does);
}

std::size_t trailing_backslashes(const std::string& argument) {
  const std::size_t last_other = argument.find_last_not_of('\\');
  return last_other == std::string::npos ? argument.size() : argument.size() - last_other - 1;
}

additions additions_for(const std::string& argument) {
  additions result{0, false};
  bool escaping = false;
  for (const char* p = argument.data() + argument.size(); p != argument.data();) {
    const char c = *--p;
    result.outer_quotes |= is_separator(c);
    escaping = gets_backslash(c, escaping);
    result.backslashes += escaping;
  }
  if (result.outer_quotes) {
    result.backslashes += trailing_backslashes(argument);
  }
  return result;
}

}  // namespace

std::string quote_argument(std::string argument) {
  const additions added = additions_for(argument);
  const std::size_t front = added.outer_quotes ? 1 : 0;  // units in front of the first character
  std::size_t read = argument.size();
  argument.resize(read + added.backslashes + 2 * front, '"');
  char* const text = argument.data();
  std::size_t write = argument.size() - front;

  // From the end, so that nothing is overwritten before it is read: `write` is ahead of `read` by what is still to be
  // added. The backslash is stored in any case and kept only where it is wanted.
  bool escaping = added.outer_quotes;
  while (write != read + front) {
    const char c = text[--read];
    text[--write] = c;
    escaping = gets_backslash(c, escaping);
    text[write - 1] = '\\';
    write -= escaping;
  }
  if (added.outer_quotes) {
    std::memmove(text + 1, text, read);
    text[0] = '"';
    text[argument.size() - 1] = '"';
  }
  return argument;
}

std::string join_arguments(const std::vector<std::string>& arguments, argument_quoter quote) {
  std::string line;
  for (const std::string& argument : arguments) {
    line += quote(argument);
    line += ' ';
  }
  return line;
}

std::string join_command_line(const command& value, argument_quoter quote) {
  std::string line = quote(value.name());
  if (!value.args().empty()) {
    line += ' ';
    line += join_arguments(value.args(), quote);
  }
  return line;
}

}  // namespace foundation::core::process

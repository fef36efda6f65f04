// Command lines, read back by a slow parser that follows the rules of the C run-time one by one.
#include "process/launch_text/argument_quoting.hpp"

#include "fuzzing.hpp"

#include <string>
#include <vector>

namespace {

using arguments = std::vector<std::string>;

/// The arguments behind the name. Blanks and tabs part them outside of quotes. Backslashes count only before a quote:
/// two of them stand for one, and an odd one makes the quote an ordinary character; inside of quotes two quotes do.
arguments parsed(const std::string& line) {
  arguments result;
  std::size_t at = line.find(' ');  // The name here has none.
  while ((at = line.find_first_not_of(" \t", at)) != std::string::npos) {
    std::string argument;
    bool is_quoted = false;
    for (; at != line.size() && (is_quoted || (line[at] != ' ' && line[at] != '\t')); ++at) {
      std::size_t backslashes = 0;
      for (; at != line.size() && line[at] == '\\'; ++at) {
        ++backslashes;
      }
      const bool is_at_quote = at != line.size() && line[at] == '"';
      argument.append(is_at_quote ? backslashes / 2 : backslashes, '\\');
      if (!is_at_quote) {
        if (backslashes != 0) {
          --at;
        } else {
          argument += line[at];
        }
      } else if (backslashes % 2 != 0) {
        argument += '"';
      } else if (is_quoted && line.substr(at, 2) == "\"\"") {
        argument += line[++at];
      } else {
        is_quoted = !is_quoted;
      }
    }
    result.push_back(argument);
  }
  return result;
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  using namespace foundation::core::process;
  command value("program");
  std::string text(reinterpret_cast<const char*>(data), size);
  for (text += '\0'; !text.empty(); text.erase(0, text.find('\0') + 1)) {
    if (const std::string argument = text.c_str(); !argument.empty()) {  // An empty one is lost.
      value.args().push_back(argument);
    }
  }
  fuzzing::require(parsed(join_command_line(value)) == value.args());
  return 0;
}

// Quotes one long argument of quotes and backslashes, the worst case: almost every byte of the result is an insertion.
// The library's rule against the obvious way, which appends to a second buffer from start to end.

#include "process/launch_text/argument_quoting.hpp"
#include "row.hpp"

#include <random>
#include <string>

namespace {

const std::string& argument() {
  static const std::string text = [] {
    std::mt19937 random(20240229);
    std::string made;
    while (made.size() < 30000) {
      made.push_back("\"\\"[random() % 2]);
    }
    made[made.size() / 2] = ' ';  // So that outer quotes are needed, and a final run of backslashes counts.
    return made;
  }();
  return text;
}

// Backslashes before a quote, or before the closing outer quote, are doubled; a quote gets one more.
std::string append_to_second_buffer(const std::string& text) {
  const bool outer = text.find_first_of(" \r\n\t") != std::string::npos;
  std::string result(outer ? 1 : 0, '"');
  std::size_t backslashes = 0;
  for (const char c : text) {
    if (c == '\\') {
      ++backslashes;
      continue;
    }
    result.append(c == '"' ? 2 * backslashes + 1 : backslashes, '\\');
    backslashes = 0;
    result.push_back(c);
  }
  result.append(outer ? 2 * backslashes : backslashes, '\\');
  if (outer) {
    result.push_back('"');
  }
  return result;
}

void quote_ours(bench::product& result) {
  result.add(foundation::core::process::quote_argument(argument()));
}

void quote_peer(bench::product& result) {
  result.add(append_to_second_buffer(argument()));
}

}  // namespace

int main(int argc, char** argv) {
  bench::add_row("quote_30k_vs_second_buffer", {quote_ours}, {quote_peer});
  return bench::run(argc, argv);
}

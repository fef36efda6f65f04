#include <kit/run.hpp>

#include <algorithm>
#include <sstream>
#include <utility>

namespace foundation::kit {
namespace {

// For the text of the exception, in bytes.
constexpr std::size_t told_of_command = 500;
constexpr std::size_t told_of_output = 2000;

bool is_in_a_character(char byte) {
  return (byte & 0xC0) == 0x80;  // not its first byte
}

std::string shortened(std::string command) {
  if (command.size() > told_of_command) {
    std::size_t end = told_of_command;
    while (end != 0 && is_in_a_character(command[end])) {
      --end;
    }
    command.replace(end, std::string::npos, "...");
  }
  return command;
}

void tell_end(std::ostream& text, const run_result& result) {
  switch (result.end) {
    case run_end::time_limit:
      text << " was ended at its time limit";
      return;
    case run_end::cancelled:
      text << " was cancelled";
      return;
    case run_end::by_itself:
      break;
  }
  if (const auto code = result.exit_code()) {
    text << " ended with exit code " << *code;
    if (*code > 0xFFFF) {
      text << " (0x" << std::hex << std::uppercase << *code << std::dec << ")";  // a crash, which has a known number
    }
  } else {
    text << " ended without a known exit code";
  }
}

// The last whole lines, or a part of the last one if that is too long.
std::string_view last_lines(std::string_view text) {
  text = text.substr(0, text.find_last_not_of("\r\n ") + 1);
  if (text.size() <= told_of_output) {
    return text;
  }
  text.remove_prefix(text.size() - told_of_output);
  const std::size_t line_end = text.find('\n');
  const std::size_t begun = line_end != std::string_view::npos ? line_end + 1 : 0;
  text.remove_prefix(begun);
  while (!text.empty() && is_in_a_character(text.front())) {
    text.remove_prefix(1);  // no part of a character
  }
  return text;
}

std::string describe(const process::command& command, const run_result& result) {
  std::ostringstream line, text;
  line << command;
  text << '"' << shortened(line.str()) << '"';
  tell_end(text, result);
  const std::string written = result.err.bytes.empty() ? result.out.text() : result.err.text();
  const std::string_view last = last_lines(written);
  if (!last.empty()) {
    text << ":\n" << last;
  }
  // The text of an exception ends at its first NUL.
  std::string all = text.str();
  std::replace(all.begin(), all.end(), '\0', ' ');
  return all;
}

}  // namespace

run_error::run_error(const process::command& command, run_result result)
    : runtime_error(describe(command, result)), result_(std::make_shared<const run_result>(std::move(result))) {}

run_error::run_error(const run_error&) noexcept = default;
run_error& run_error::operator=(const run_error&) noexcept = default;
run_error::~run_error() = default;

}  // namespace foundation::kit

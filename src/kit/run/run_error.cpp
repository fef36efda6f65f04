#include <kit/run.hpp>

#include <algorithm>
#include <sstream>
#include <utility>

namespace foundation::kit {
namespace {

constexpr std::size_t told_bytes = 2000;  // of what the command wrote, for the text of the exception

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
  if (text.size() <= told_bytes) {
    return text;
  }
  text.remove_prefix(text.size() - told_bytes);
  const std::size_t line_end = text.find('\n');
  const std::size_t begun = line_end != std::string_view::npos ? line_end + 1 : 0;
  text.remove_prefix(begun);
  while (!text.empty() && (text.front() & 0xC0) == 0x80) {
    text.remove_prefix(1);  // no part of a character
  }
  return text;
}

std::string describe(const process::command& command, const run_result& result) {
  std::ostringstream text;
  text << '"' << command << '"';
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

#include "process/batch_file.hpp"

#include <algorithm>
#include <boost/algorithm/string/predicate.hpp>
#include <stdexcept>
#include <string>

namespace foundation::core::process {

namespace {

bool is_unsafe(char c) {
  return std::string_view("\"%!^&|<>\x7f").find(c) != std::string_view::npos ||
         (static_cast<unsigned char>(c) < ' ' && c != '\t');
}

void refuse_if_unsafe(const std::string& text, const char* what) {
  if (std::any_of(text.begin(), text.end(), &is_unsafe)) {
    throw std::invalid_argument(std::string("the ") + what + " \"" + text +
                                "\" cannot be passed safely to the command interpreter, which runs batch files");
  }
}

}  // namespace

bool is_batch_file(std::string_view program) {
  const std::size_t last = program.find_last_not_of(". ");
  program = program.substr(0, last == std::string_view::npos ? 0 : last + 1);
  // Of the letters of ASCII alone: the system knows no others here.
  const std::locale& plain = std::locale::classic();
  return boost::algorithm::iends_with(program, ".bat", plain) || boost::algorithm::iends_with(program, ".cmd", plain);
}

void refuse_unsafe_batch_file(const command& value) {
  if (!is_batch_file(value.name())) {
    return;
  }
  refuse_if_unsafe(value.name(), "program name");
  for (const std::string& argument : value.args()) {
    refuse_if_unsafe(argument, "argument");
  }
}

}  // namespace foundation::core::process

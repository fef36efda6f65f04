#include "process/launch_text/batch_file.hpp"

#include <boost/algorithm/string/predicate.hpp>

#include <algorithm>
#include <stdexcept>
#include <string>

namespace foundation::core::process {

namespace {

bool is_unsafe(char c) {
  return std::string_view("\"%!^&|<>\x7f").find(c) != std::string_view::npos ||
         (static_cast<unsigned char>(c) < ' ' && c != '\t');
}

bool is_unsafe_argument(const std::string& text) {
  return std::any_of(text.begin(), text.end(), &is_unsafe);
}

// Without quotes around it, which a blank brings, the interpreter would run a part of such a name as the program.
bool is_unsafe_name(const std::string& text) {
  const bool unquoted = text.find_first_of(" \t") == std::string::npos;
  return is_unsafe_argument(text) || (unquoted && (text.find_first_of(",;=") != std::string::npos ||
                                                   text.starts_with('@') || text.starts_with('(')));
}

[[noreturn]] void refuse(const char* what, const std::string& text) {
  throw std::invalid_argument(std::string("the ") + what + " \"" + text +
                              "\" cannot be passed safely to the command interpreter, which runs batch files");
}

// Of the letters of ASCII alone: the system knows no others here.
bool ends_with(std::string_view program, const char* extension) {
  return boost::algorithm::iends_with(program, extension, std::locale::classic());
}

}  // namespace

bool is_batch_file(std::string_view program) {
  const std::size_t last = program.find_last_not_of(". ");
  program = program.substr(0, last == std::string_view::npos ? 0 : last + 1);
  return ends_with(program, ".bat") || ends_with(program, ".cmd");
}

void refuse_unsafe_batch_file(const command& value) {
  if (is_batch_file(value.name())) {
    refuse_what_is_unsafe_in_a_batch_file(value);
  }
}

void refuse_what_is_unsafe_in_a_batch_file(const command& value) {
  if (is_unsafe_name(value.name())) {
    refuse("program name", value.name());
  }
  for (const std::string& argument : value.args()) {
    if (is_unsafe_argument(argument)) {
      refuse("argument", argument);
    }
  }
}

}  // namespace foundation::core::process

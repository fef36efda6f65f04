#include "command/command_line.hpp"

#include <i18n/convert.hpp>

#include <kit/arguments.hpp>

#include <cstddef>

namespace foundation::kit {

namespace {

bool is_blank(char16_t unit) {
  return unit == u' ' || unit == u'\t';
}

/// Cuts `count` units off the front of `rest`, or all that there are.
std::u16string_view take(std::u16string_view& rest, std::size_t count) {
  const std::u16string_view taken = rest.substr(0, count);
  rest.remove_prefix(taken.size());
  return taken;
}

/// Cuts off the `unit`s in front; how many there were.
std::size_t take_all(std::u16string_view& rest, char16_t unit) {
  return take(rest, rest.find_first_not_of(unit)).size();
}

void skip_blanks(std::u16string_view& rest) {
  take(rest, rest.find_first_not_of(u" \t"));
}

fl::ustring take_name(std::u16string_view& rest) {
  if (rest.empty() || rest.front() != u'"') {
    return fl::ustring(take(rest, rest.find_first_of(u" \t")));
  }
  take(rest, 1);
  const fl::ustring name(take(rest, rest.find(u'"')));
  take(rest, 1);
  return name;
}

/// `rest` begins with the argument.
fl::ustring take_argument(std::u16string_view& rest) {
  fl::ustring argument;
  bool inside = false;  // of quotes
  while (!rest.empty() && (inside || !is_blank(rest.front()))) {
    const std::size_t backslashes = take_all(rest, u'\\');
    std::size_t quotes = take_all(rest, u'"');
    if (quotes == 0) {
      argument.append(backslashes, u'\\');
      argument += take(rest, backslashes == 0 ? 1 : 0);
      continue;
    }
    argument.append(backslashes / 2, u'\\');
    if (backslashes % 2 != 0) {
      argument += u'"';
      --quotes;
    }
    quotes += inside ? 1 : 0;
    argument.append(quotes / 3, u'"');
    inside = quotes % 3 == 1;
  }
  return argument;
}

}  // namespace

std::vector<fl::ustring> split_command_line(std::u16string_view line) {
  std::vector<fl::ustring> all = {take_name(line)};
  for (skip_blanks(line); !line.empty(); skip_blanks(line)) {
    all.push_back(take_argument(line));
  }
  return all;
}

std::vector<std::string> split_command_line(std::string_view line) {
  std::vector<std::string> all;
  for (const fl::ustring& each : split_command_line(fl::i18n::utf8_to_ustring(line))) {
    all.push_back(fl::i18n::ustring_to_utf8(each));
  }
  return all;
}

}  // namespace foundation::kit

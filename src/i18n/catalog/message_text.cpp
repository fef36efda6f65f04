#include "catalog/message_text.hpp"

#include <i18n/convert.hpp>

#include <algorithm>
#include <charconv>
#include <cstdint>
#include <string>
#include <variant>

namespace fl::i18n::detail {
namespace {

using resource_core::MsgArgument;

struct append_argument {
  ustring& to;

  void operator()(const std::string& utf8) const { to += utf8_to_ustring(utf8); }
  void operator()(const std::u16string& utf16) const { to += utf16; }
  void operator()(double number) const { append_number(number); }
  void operator()(std::int64_t number) const { append_number(number); }

 private:
  template <class Number>
  void append_number(Number number) const {
    char digits[32];  // The longest are like -1.7976931348623157e+308.
    const auto end = std::to_chars(std::begin(digits), std::end(digits), number).ptr;
    to.append(std::begin(digits), end);
  }
};

struct mark {
  std::size_t length = 0;  ///< in units, with the braces; 0: there is no mark
  std::size_t index = 0;   ///< of the argument, which need not exist
};

/// The mark at the start of `text`, which is not empty. Numbers with needless zeroes make none.
mark read_mark(std::u16string_view text) {
  if (text[0] != u'{') {
    return {};
  }
  constexpr std::size_t beyond_all = 1'000'000;  // Keeps the index of endless digits within its type.
  std::size_t index = 0, end = 1;
  for (; end < text.size() && text[end] >= u'0' && text[end] <= u'9'; ++end) {
    index = std::min(index * 10 + (text[end] - u'0'), beyond_all);
  }
  const bool closed = end < text.size() && text[end] == u'}';
  return closed && end > 1 && (text[1] != u'0' || end == 2) ? mark{end + 1, index} : mark{};
}

}  // namespace

ustring insert_arguments(std::u16string_view text, const std::vector<MsgArgument>& arguments) {
  ustring result;
  result.reserve(text.size());
  while (!text.empty()) {
    std::size_t used = 1;
    if (text.substr(0, 2) == u"{{" || text.substr(0, 2) == u"}}") {
      result += text[0];
      used = 2;
    } else if (const mark found = read_mark(text); found.length != 0 && found.index < arguments.size()) {
      std::visit(append_argument{result}, arguments[found.index]);
      used = found.length;
    } else {
      used = std::max(used, found.length);  // A mark without an argument stays whole.
      result += text.substr(0, used);
    }
    text.remove_prefix(used);
  }
  return result;
}

}  // namespace fl::i18n::detail

#include "message_text.hpp"

#include <i18n/convert.hpp>

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

/// The argument of the mark at the start of `text`, or null if there is no mark or no such argument; `length` becomes
/// the mark's. A number is written as nobody would write it otherwise: without needless zeroes.
const MsgArgument* find_argument(std::u16string_view text, const std::vector<MsgArgument>& arguments,
                                 std::size_t& length) {
  const std::size_t end = text.find(u'}');
  if (end == std::u16string_view::npos || end < 2 || (text[1] == u'0' && end != 2))
    return nullptr;
  std::size_t index = 0;
  for (const char16_t unit : text.substr(1, end - 1)) {
    if (unit < u'0' || unit > u'9')
      return nullptr;
    index = index * 10 + (unit - u'0');
    if (index >= arguments.size())
      return nullptr;  // Here, so that the index does not grow beyond its type.
  }
  length = end + 1;
  return &arguments[index];
}

}  // namespace

ustring insert_arguments(std::u16string_view text, const std::vector<MsgArgument>& arguments) {
  ustring result;
  result.reserve(text.size());
  while (!text.empty()) {
    std::size_t taken = 1;
    if (text.substr(0, 2) == u"{{" || text.substr(0, 2) == u"}}") {
      result += text[0];
      taken = 2;
    } else if (const auto* const argument = text[0] == u'{' ? find_argument(text, arguments, taken) : nullptr) {
      std::visit(append_argument{result}, *argument);
    } else {
      result += text[0];
    }
    text.remove_prefix(taken);
  }
  return result;
}

}  // namespace fl::i18n::detail

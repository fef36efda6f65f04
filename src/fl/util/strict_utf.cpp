#include "util/strict_utf.hpp"

#include <boost/locale/utf.hpp>
#include <iterator>
#include <stdexcept>

namespace foundation::core::util {

namespace {

template <class Target, class Source>
std::basic_string<Target> converted(std::basic_string_view<Source> text) {
  namespace utf = boost::locale::utf;
  std::basic_string<Target> result;
  result.reserve(text.size());
  auto position = text.begin();
  while (position != text.end()) {
    const utf::code_point c = utf::utf_traits<Source>::decode(position, text.end());
    if (c == utf::illegal || c == utf::incomplete) {
      throw std::range_error("bad conversion");
    }
    utf::utf_traits<Target>::encode(c, std::back_inserter(result));
  }
  return result;
}

}  // namespace

std::u16string utf8_to_utf16_strict(std::string_view utf8) {
  return converted<char16_t>(utf8);
}

std::string utf16_to_utf8_strict(std::u16string_view utf16) {
  return converted<char>(utf16);
}

}  // namespace foundation::core::util

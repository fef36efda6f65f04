#include "util/strict_utf.hpp"

#include <boost/locale/utf.hpp>

#include <iterator>
#include <stdexcept>

namespace foundation::core::util {

std::u16string utf8_to_utf16_strict(std::string_view utf8) {
  namespace utf = boost::locale::utf;
  std::u16string result;
  result.reserve(utf8.size());
  auto position = utf8.begin();
  while (position != utf8.end()) {
    const utf::code_point c = utf::utf_traits<char>::decode(position, utf8.end());
    if (c == utf::illegal || c == utf::incomplete) {
      throw std::range_error("bad conversion");
    }
    utf::utf_traits<char16_t>::encode(c, std::back_inserter(result));
  }
  return result;
}

}  // namespace foundation::core::util
